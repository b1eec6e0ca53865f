#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace CorvaneAgent {

/// \file
/// The bytes of the spool's segment files; docs/formats/spool.md describes them.

constexpr std::size_t kSegmentHeaderBytes = 16;
constexpr std::size_t kRecordHeaderBytes = 8;
constexpr std::size_t kMaxRecordBytes = 16U << 20;  ///< Of a record's data.

/// Writes the header of the segment of that number, kSegmentHeaderBytes, to bytes.
void PutSegmentHeader(char* bytes, std::uint64_t number);

/// Whether size bytes begin with the header of the segment of that number.
bool IsSegmentHeader(const char* bytes, std::size_t size, std::uint64_t number);

/// Adds a record to out. size: up to kMaxRecordBytes.
void AppendRecord(std::string& out, const char* data, std::size_t size);

enum class RecordState {
    kWhole,
    kIncomplete,  ///< The bytes end before the record does.
    kDamaged,     ///< Its length is out of range or its check value wrong.
};

/// Looks at the record that size bytes begin with. dataBytes: the length of its data where that is known, and
/// 0 where not even the header is there.
RecordState CheckRecord(const char* bytes, std::size_t size, std::size_t& dataBytes);

}  // namespace CorvaneAgent
