#!/bin/sh
# Rewrites the golden layout dumps from the current engine; review the diff before committing.
set -e
build=${1:-build/dev}
cmake --build "$build" --target layout_tests
QM_REBASELINE=1 "$build/tests/engine/layout/layout_tests" --gtest_filter='GoldenLayout.*'
git diff --stat -- "$(dirname "$0")/golden"
