// What the benchmark files share: naming and the table's conventions.
//
// A benchmark is named "operation/implementation/input/size", for instance
// "compress/zlib/text/64K". The table has one row per operation, input and size. The first
// two implementations registered for a row stand side by side, each with its rate in MB/s
// (10^6 bytes per second, from state.SetBytesProcessed), else items per second (from
// state.SetItemsProcessed), else its time, and any other counters behind it; the last
// column tells how many times faster the first is. Register the library's own
// implementation first and the one to compare with second.
#pragma once

#include <cstddef>
#include <string>

namespace klmfc::bench {

// "4K", "64K", "1M", "16M"
inline std::string sizeLabel(std::size_t bytes) {
    if (bytes >= (1u << 20) && bytes % (1u << 20) == 0) {
        return std::to_string(bytes >> 20) + "M";
    }
    if (bytes >= 1024 && bytes % 1024 == 0) {
        return std::to_string(bytes >> 10) + "K";
    }
    return std::to_string(bytes);
}

} // namespace klmfc::bench
