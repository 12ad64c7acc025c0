#pragma once

#include <cstddef>
#include <cstdint>

// The published VST 2 preset files, ".fxp" and ".fxb": 32-bit big-endian integers, four ASCII bytes for a
// magic.
//
//     program                              bank
//       0  "CcnK"                            0  "CcnK"
//       4  size of the rest                  4  size of the rest
//       8  "FxCk" values, "FPCh" chunk       8  "FxBk" programs, "FBCh" chunk
//      12  version of the form, 1           12  version of the form, 1 or 2
//      16  the plug-in's unique id          16  the plug-in's unique id
//      20  the plug-in's version            20  the plug-in's version
//      24  number of parameters             24  number of programs
//      28  name, 28 bytes                   28  current program, from version 2 on
//      56  FxCk: a float for each           32  124 bytes, zero
//      56  FPCh: size, then the chunk      156  FxBk: a whole FxCk program for each
//                                          156  FBCh: size, then the chunk

constexpr int32_t vst2ChunkMagic = 0x43636E4B;        // "CcnK"
constexpr int32_t vst2ProgramMagic = 0x4678436B;      // "FxCk"
constexpr int32_t vst2ProgramChunkMagic = 0x46504368; // "FPCh"
constexpr int32_t vst2BankMagic = 0x4678426B;         // "FxBk"
constexpr int32_t vst2BankChunkMagic = 0x46424368;    // "FBCh"

constexpr size_t vst2ProgramNameSize = 28;
constexpr size_t vst2BankReservedSize = 124;
