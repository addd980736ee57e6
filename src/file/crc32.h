// The ways K_File::CRC32 computes, for checking each against the others.
#pragma once

#include <cstddef>
#include <cstdint>

namespace klmfc::crc32 {

// The CRC-32 of `size` bytes through the tables alone, whatever the processor offers.
std::uint32_t withTables(void const* data, std::size_t size);

} // namespace klmfc::crc32
