// libFuzzer entry: any bytes through the metafile text reader must end, within its bounds.
#include "engine/formats/Metafile.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto texts = qm::engine::metafileText(bytes, 64);
    if (texts.size() > 64)
        __builtin_trap(); // more text than asked for
    for (const auto& t : texts)
        if (!std::isfinite(t.x) || !std::isfinite(t.y) || !std::isfinite(t.emHeight) || t.text.empty())
            __builtin_trap(); // every string placed at a real point, and something to show
    return 0;
}
