#pragma once

#include "Pooltab/Words.h"

#include <cstddef>

/// The bytes of the shared files, as docs/pooltab.md draws them. Whoever changes a line here raises
/// formatVersion and changes that page.

namespace Pooltab {

inline constexpr U64 fileMagic = 0x31656c6261746c50; // the bytes "Pltable1"
inline constexpr U32 formatVersion = 4;
inline constexpr U32 endianTag = 0x01020304;

enum class FileKind : U32 { control = 1, rows = 2, index = 3 };

/// The first 64 bytes of every file: fixed for ever, whatever the format version becomes.
struct Preamble {
   U64 magic;
   U32 format;
   U32 endian;
   U32 headerBytes; ///< what follows starts here
   U32 kind;        ///< a FileKind
   U64 fingerprint; ///< of the row's declaration; 0 in the control file
   U32 strideBytes; ///< of a fixed row's slot; 0 where rows vary
   U32 rowBytesMax;
   Word epoch;   ///< raised by every writer that takes the pool over
   Word seed;    ///< drawn when the table was made: salt of its checksums and of its hash
   Word retired; ///< 1 when a file of the same name has taken this one's place
};
static_assert(sizeof(Preamble) == 64);

// ---- rows file ------------------------------------------------------------------------------------------

/// Slots are counted in granules; a row's slot is its first granule.
inline constexpr U32 granuleBytes = 32;
inline constexpr U32 rowHeadBytes = 16;
/// Blocks of tables whose rows vary come in multiples of this, up to blockBytesMax.
inline constexpr U32 blockUnitBytes = 64;
inline constexpr U32 blockBytesMax = 2048;
inline constexpr U32 payloadBytesMax = blockBytesMax - rowHeadBytes;
inline constexpr unsigned payloadWordsMax = payloadBytesMax / 8;
/// The part of the address space that a rows file may grow into.
inline constexpr U64 rowsFileBytesMax = 16ull << 30;

/// What stands before a row's payload.
struct RowHead {
   /// Low half: the sequence, odd while the row is being changed. High half: the checksum.
   Word guard;
   /// Low 48 bits: the pool's change number at the write, 0 for a free block. High 16 bits: bytes of payload
   /// in a row, bytes of the whole block in a free one.
   Word stamp;
};
static_assert(sizeof(RowHead) == rowHeadBytes);

inline constexpr U32 guardSequence(Word guard) {
   return static_cast<U32>(guard);
}
inline constexpr U32 guardChecksum(Word guard) {
   return static_cast<U32>(guard >> 32);
}
inline constexpr Word guardOf(U32 sequence, U32 checksum) {
   return Word{checksum} << 32 | sequence;
}
inline constexpr bool guardIsOdd(Word guard) {
   return guard & 1;
}

inline constexpr unsigned versionBits = 48;
inline constexpr U64 versionMax = (1ull << versionBits) - 1;
inline constexpr U64 stampVersion(Word stamp) {
   return stamp & versionMax;
}
inline constexpr U32 stampBytes(Word stamp) {
   return static_cast<U32>(stamp >> versionBits);
}
inline constexpr Word stampOf(U64 version, U32 bytes) {
   return (version & versionMax) | Word{bytes} << versionBits;
}

/// The step of the writer that is under way, so that the next writer knows what to finish or to undo.
enum class Step : Word { none = 0, insert = 1, overwrite = 2, move = 3, erase = 4 };

struct RowsHeader {
   Preamble preamble;
   // What readers look at on a miss: a line that is written when the index grows.
   Word indexGeneration;
   U32 keyBytes;
   U32 variable; ///< 1 where rows vary in size
   Word spare1[6];
   // The writer's line.
   Word tail;    ///< granules below this are rows or free blocks
   Word rows;    ///< rows in the table
   Word sum;     ///< sum of the rows' checksums, modulo 2^64
   Word changes; ///< raised before every write
   Word spare2[4];
   // The step under way.
   Word step; ///< a Step
   Word slot;
   Word oldSlot; ///< of a move
   Word rowsAfter;
   Word sumAfter;
   Word spare3[3];
};
static_assert(offsetof(RowsHeader, indexGeneration) == 64);
static_assert(offsetof(RowsHeader, tail) == 128);
static_assert(offsetof(RowsHeader, step) == 192);
static_assert(sizeof(RowsHeader) == 256);

/// The new row, whole, while its slot is odd.
struct Journal {
   Word mark; ///< 0 while the journal is being written
   Word slot;
   Word guard; ///< as it will stand in the slot
   Word stamp;
   Word payload[payloadWordsMax];
};
inline constexpr U32 journalOffset = 4096;
inline constexpr U32 rowsHeaderBytes = 8192;
static_assert(journalOffset + sizeof(Journal) <= rowsHeaderBytes);

inline constexpr U64 slotOffset(U64 slot) {
   return rowsHeaderBytes + slot * granuleBytes;
}

/// Bytes of the block that holds a row of this many payload bytes.
inline constexpr U32 fixedBlockBytes(U32 payloadBytes) {
   return (rowHeadBytes + payloadBytes + granuleBytes - 1) / granuleBytes * granuleBytes;
}
inline constexpr U32 variableBlockBytes(U32 payloadBytes) {
   return (rowHeadBytes + payloadBytes + blockUnitBytes - 1) / blockUnitBytes * blockUnitBytes;
}

// ---- index file -----------------------------------------------------------------------------------------

inline constexpr U32 indexHeaderBytes = 4096;
inline constexpr unsigned indexBitsMin = 9;
inline constexpr unsigned indexBitsMax = 30;
inline constexpr unsigned shiftRegions = 256;
inline constexpr unsigned shiftRegionBits = 12; ///< 4096 neighbouring entries share a counter

struct IndexHeader {
   Preamble preamble;
   Word generation;
   Word bits; ///< the index has 2^bits entries
   Word spare[6];
   Word shifts[shiftRegions]; ///< raised whenever a deletion moves an entry out of the region
};
static_assert(sizeof(IndexHeader) <= indexHeaderBytes);

/// An entry: tag in the high half, slot + 1 in the low half, 0 when empty.
inline constexpr Word indexEntry(U32 tag, U32 slot) {
   return Word{tag} << 32 | (slot + 1);
}
inline constexpr U32 entryTag(Word entry) {
   return static_cast<U32>(entry >> 32);
}
inline constexpr U32 entrySlot(Word entry) {
   return static_cast<U32>(entry) - 1;
}

// ---- control file ---------------------------------------------------------------------------------------

inline constexpr unsigned tablesMax = 64;
inline constexpr U32 tableNameBytes = 64;

struct TableEntry {
   char name[tableNameBytes]; ///< ends with a zero byte
   U64 fingerprint;
   U32 keyBytes;
   U32 rowBytesMax;
   U32 variable;
   U32 spare1;
   U64 spare2[5];
};
static_assert(sizeof(TableEntry) == 128);

struct ControlHeader {
   Preamble preamble;
   U32 ringEntryBytes;
   U32 ringEntriesLog2;
   Word tableCount;    ///< table entries that stand whole
   Word closedCleanly; ///< 1 when the last writer said goodbye
   Word spare1[5];
   Word head; ///< changes announced so far, alone on its line
   Word spare2[7];
   Word writerPid;
   Word writerStartTime; ///< clock ticks after boot
   Word spare3[6];
};
static_assert(offsetof(ControlHeader, head) == 128);
static_assert(sizeof(ControlHeader) == 256);

inline constexpr U32 tableDirectoryOffset = 4096;
inline constexpr U32 controlHeaderBytes = 16384; ///< the ring starts here
static_assert(tableDirectoryOffset + tablesMax * sizeof(TableEntry) <= controlHeaderBytes);

enum class Operation : U8 { set = 1, del = 2 };

/// One change. The sequence is written first: a reader that took a word of a newer entry sees it.
struct RingEntry {
   Word sequence;
   Word what; ///< slot in the low half, then 16 bits of key bytes, 8 of table, 8 of operation
   Word key[1];
};
inline constexpr U32 ringEntryHeadBytes = 16;
inline constexpr Word ringWhat(U32 slot, U16 keyBytes, U8 table, Operation operation) {
   return Word{slot} | Word{keyBytes} << 32 | Word{table} << 48 | Word{static_cast<U8>(operation)} << 56;
}
inline constexpr U32 ringSlot(Word what) {
   return static_cast<U32>(what);
}
inline constexpr U8 ringTable(Word what) {
   return static_cast<U8>(what >> 48);
}

} // namespace Pooltab
