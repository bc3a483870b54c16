/// @file
/// The records of a control-bit block without decoding them.
#ifndef TAVIK_SYSCFG_CONTROL_BIT_BLOCK_H
#define TAVIK_SYSCFG_CONTROL_BIT_BLOCK_H

#include <tavik/Value.h>

#include <cstdint>
#include <span>

namespace tavik {

/// The bytes of the records that `SystemConfig::controlBitsFromData` returns: `SystemConfig::kControlBitSize` per
/// record.
std::span<const std::uint8_t> controlBitRecords(const Data& block);

}  // namespace tavik

#endif
