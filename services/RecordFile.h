#pragma once

#include <cstddef>
#include <string>

#include "WindowsAgentCommon/EnvironmentBlock.h"

namespace WindowsAgentCommon::detail {

/// \file
/// The files of persistent records (docs/formats/persistence.md). Errors are Windows error codes, 0 =
/// success. Thread-safe for different files; everything but the first two functions blocks on the disk. They
/// throw only std::bad_alloc, and std::length_error for what exceeds a string.

/// No record's file is larger.
constexpr std::size_t kLargestRecord = 16 << 20;

/// The name of a record's file, without folder: the first of the name's characters, as far as they are plain,
/// for people, and the beginning of its SHA-256 for distinctness. Never longer than 80 characters, and the
/// same whatever the case of letters is worth in the file system. Empty where the digest cannot be had.
std::wstring RecordFileName(const std::string& name);

/// The binary form of block. ERROR_INVALID_DATA, bytes unchanged, where the form cannot hold an entry or the
/// whole is larger than kLargestRecord.
unsigned long PackRecord(const EnvironmentBlock& block, std::string& bytes);

/// The opposite, for bytes of unknown origin. ERROR_INVALID_DATA, block emptied, for anything that PackRecord
/// does not make.
unsigned long UnpackRecord(const std::string& bytes, EnvironmentBlock& block);

/// Puts bytes in place of a record's file, whose folder is made if need be. A process or machine that ends
/// meanwhile leaves the file as it was, or as it shall be, perhaps with a file *.record.tmp beside it.
class RecordReplacement {
public:
    explicit RecordReplacement(const std::wstring& path) : path_(path) {}
    RecordReplacement(const RecordReplacement&) = delete;
    RecordReplacement& operator=(const RecordReplacement&) = delete;
    ~RecordReplacement();

    unsigned long Write(const std::string& bytes);  ///< Everything but the last step.
    unsigned long Commit();  ///< The last step. Fails while somebody has the record's file open.

private:
    const std::wstring path_;
    std::wstring temporary_;
    bool exists_ = false;
};

/// Reads a record's file. ERROR_INVALID_DATA for one that is larger than kLargestRecord.
unsigned long ReadRecordFile(const std::wstring& path, std::string& bytes);

/// Deletes a record's file; it is gone is success.
unsigned long RemoveRecordFile(const std::wstring& path);

}  // namespace WindowsAgentCommon::detail
