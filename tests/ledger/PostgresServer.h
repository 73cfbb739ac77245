// A PostgreSQL server of the test's own on the loopback interface, started
// from the installed binaries and stopped when the test program ends.
#pragma once

#include <string>

namespace qm::testing {

/// The address of a fresh, empty database on the test's server, starting the
/// server on first use. Empty, with the reason in `why`, where no server can
/// start (PostgreSQL not installed, no user to run it as).
std::string freshPostgresDatabase(std::string& why);

/// Runs one SQL command on a database; the first column of the first row, or
/// the error text prefixed with "error: ".
std::string postgresQuery(const std::string& address, const std::string& sql);

} // namespace qm::testing
