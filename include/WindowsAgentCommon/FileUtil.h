#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "CorvaneExport.h"

class ACE_Time_Value;

typedef struct _FILETIME FILETIME;
typedef struct _SYSTEMTIME SYSTEMTIME;
typedef union _LARGE_INTEGER LARGE_INTEGER;

namespace WindowsAgentCommon {

/// \file
/// Files, folders, archives, digests and time texts.
///
/// Paths are UTF-16, absolute or relative to the process's working folder, and may be longer than 260
/// characters unless a function says otherwise. Functions that return an unsigned long return the Windows
/// error code, 0 = success. Outputs are replaced on success and unchanged on failure unless stated. Nothing
/// logs. All functions are thread-safe, keep no state and block on the disk. Besides what is stated they
/// throw only std::bad_alloc.

// --- Archives, compression, encodings and digests ---

/// Extracts a tar archive below destFolder, which must exist, and returns the number of regular files
/// written. Which archives are understood and which entry names are refused: docs/formats/tar.md. Existing
/// files are replaced, empty files are not created, a file's folder must exist or have its own entry before
/// it. Entry names are UTF-8, or the system's ANSI code page where they are not valid UTF-8. Nothing is
/// written outside destFolder, nor through a junction or link below it. The working folder stays as it is.
/// Throws ObjectDoesNotExistException when the archive cannot be opened or destFolder is no folder, and
/// KORException with the Windows error code in GetLastError() when
/// - a header is damaged or cut short ("This does not appear to be a valid tar file, ...");
/// - a folder or file cannot be created, its name is refused (ERROR_INVALID_NAME, or ERROR_CANT_ACCESS_FILE
///   behind a junction), or its size is no octal number (ERROR_INVALID_DATA);
/// - a file cannot be written, or the archive ends inside its data (ERROR_HANDLE_EOF).
/// What was extracted until then stays, the beginning of the file in hand included.
CORVANE_API unsigned int BasicUnTar(const std::wstring& archive, const std::wstring& destFolder);

/// Compresses source into the gzip file gzFile, which is created or replaced. source is opened first: when
/// that fails, gzFile is untouched. Naming one file twice is an error. After any other failure gzFile is
/// incomplete.
CORVANE_API unsigned long GZip(const std::wstring& source, const std::wstring& gzFile);

/// Decompresses gzFile into out, from where out stands; a file that is not compressed is copied as it is.
/// ERROR_HANDLE_EOF: the file ends too early, or is empty. ERROR_INVALID_DATA: it is damaged.
/// ERROR_WRITE_FAULT: out went bad. out then holds what was read before; it may throw what its exceptions()
/// mask asks for.
CORVANE_API unsigned long GUnZip(const std::wstring& gzFile, std::ostream& out);

/// Decompresses gzFile into the file target, which is created or replaced once gzFile could be opened; errors
/// as above, and those of writing target. After an error target, where it exists, is not whole.
CORVANE_API unsigned long GUnZip(const std::wstring& gzFile, const std::wstring& target);

/// Base64 text (standard alphabet, "=" padding, no line breaks) of len bytes. Returns nonzero on success; 0
/// where data is null and len is not 0, or the encoder fails.
CORVANE_API unsigned int EncodeBase64(unsigned char* data, unsigned long len, std::string& out);

/// Bytes of a base64 text as EncodeBase64 makes it; white space before and after it is ignored. Returns
/// nonzero on success; 0 for any other character, wrong padding or a wrong length, or when the decoder fails.
CORVANE_API unsigned int DecodeBase64(const std::string& text, std::vector<unsigned char>& out);

/// MD5 as 32 lower-case hexadecimal digits. Returns 6 (ERROR_INVALID_HANDLE) when MD5 is not available, the
/// Windows error code when the file cannot be opened or read.
CORVANE_API unsigned long MD5Sum(const std::wstring& file, std::string& hex);
/// The same of len bytes. ERROR_INVALID_PARAMETER where data is null and len is not 0.
CORVANE_API unsigned long MD5Sum(void* data, unsigned int len, std::string& hex);

/// SHA-256 as 64 lower-case hexadecimal digits; empty when the file cannot be opened or read.
CORVANE_API std::string SHA256Sum(const std::wstring& file);
/// The same of len bytes; empty where data is null and len is not 0.
CORVANE_API std::string SHA256Sum(void* data, unsigned int len);

// --- Time texts, all UTC ---

/// Now, as below.
CORVANE_API void GetISO8601Timestamp(std::wstring& out);

/// "2018-12-12T14:53:37.123455047Z": nine digits of nanoseconds. They come from the time in seconds as a
/// double and are exact to about two microseconds; the last two microseconds before a full second may read as
/// .000000000 of the second that ends. Both are deliberate. A time that the system cannot convert (2^63 and
/// above) gives "".
CORVANE_API void GetISO8601Timestamp(const FILETIME& time, std::wstring& out);

/// The same; "" where time is no date since 1601.
CORVANE_API void GetISO8601Timestamp(const SYSTEMTIME& time, std::wstring& out);

/// "20181212.145337.123456700": the seven digits of 100-ns units, then always "00". "" for a time that the
/// system cannot convert.
CORVANE_API void Convert(const FILETIME& time, std::string& out);

/// Reads "20181212.145337.1234567"; what follows is ignored, the fraction counts 100-ns units and may be
/// absent. time becomes zero where fewer than six numbers are found or they are no date since 1601.
CORVANE_API void Convert(const std::string& text, FILETIME& time);

/// Reads "20181212.145337.123"; what follows is ignored, the fraction counts milliseconds and may be absent.
/// The numbers are taken as they stand, whether they are a date or not; the day of the week stays as it was.
/// All of time becomes zero where fewer than six numbers are found.
CORVANE_API void Convert(const std::string& text, SYSTEMTIME& time);

/// Whole seconds since 1970, rounded down; negative before.
CORVANE_API long long ConvertFiletimeToUnixEpoch(const FILETIME& time);

// --- Text files: bytes as they stand, zeros and a byte-order mark included ---

/// Reads the bytes that the file has when it is opened. Takes as much memory as they do, in one piece. False
/// when it cannot be read or does not fit into memory (the limit is below 1 GB); nothing is thrown.
CORVANE_API bool ReadTextFile(const std::wstring& path, std::string& text);

/// Reads the file as above and splits it at each line feed, which is dropped with one carriage return
/// directly before it; other carriage returns stay. A last line without line feed counts; an empty file has
/// no lines. Takes the file's size twice and about 24 bytes for each line.
CORVANE_API bool ReadTextFile(const std::wstring& path, std::vector<std::string>& lines);

/// Creates or replaces a file with text as it is. After a failure the file may be cut short.
CORVANE_API bool SaveTextFile(const std::wstring& path, const std::string& text);

/// The same with each of lines followed by "\r\n". lines is not changed.
CORVANE_API bool SaveTextFile(const std::wstring& path, std::vector<std::string>& lines);

/// Adds the key=value lines of a file to props, which keeps what it holds, and equal keys side by side. The
/// key is what stands before the first "=", both sides are trimmed of white space, TABs become blanks, lines
/// without "=" are skipped, and a UTF-8 byte-order mark before the first line is dropped. Takes memory as for
/// lines; ERROR_NOT_ENOUGH_MEMORY where that is not to be had.
CORVANE_API unsigned long ReadPropFile(const std::wstring& path,
                                       std::multimap<std::string, std::string>& props);

// --- Folders ---

/// Makes a folder with those above it that are missing. The first error ends the walk and is returned; what
/// was made until then stays. An existing folder is success, a file in the way ERROR_ALREADY_EXISTS.
CORVANE_API unsigned long CreateDirectoryRecursive(const std::wstring& path);

/// Deletes the files and folders in folder whose names match pattern ("*" and "?" as the system takes them;
/// null means "*"; with a separator ERROR_INVALID_NAME), and everything below these folders. Junctions and
/// links are removed, what they point to is not touched. The walk goes on after a failure; returns the last
/// error, 0 also when nothing matches.
CORVANE_API unsigned long DeleteDirectoryContents(const std::wstring& folder, const wchar_t* pattern);

/// Bytes of all files below folder, junctions and links to folders not followed. Returns the last error; size
/// then holds what could be counted.
CORVANE_API unsigned long GetDirectoryContentSize(const std::wstring& folder, LARGE_INTEGER& size);

CORVANE_API unsigned long IsDirectory(const std::wstring& path, bool& result);
CORVANE_API unsigned long IsDirectoryEmpty(const std::wstring& path, bool& result);

/// Whether name is "." or ".."; null is not.
CORVANE_API bool IsDotFolder(const wchar_t* name);

// --- Files ---

/// Bytes, from the file's directory entry: a file that is being written may be larger. A folder's is 0.
CORVANE_API unsigned long GetFilesize(const std::wstring& path, unsigned long long& size);

/// The same; false on failure and where size is null.
CORVANE_API bool GetFileSizeEx(const std::wstring& path, LARGE_INTEGER* size);

/// Microseconds are cut off. ACE_Time_Value holds the years 1902 to 2037 here; others come out wrong.
CORVANE_API unsigned long GetFileCreationTimestamp(const std::wstring& path, ACE_Time_Value& time);
CORVANE_API unsigned long GetFileLastModifiedTimestamp(const std::wstring& path, ACE_Time_Value& time);

/// Whether path was created later than other (to 100 ns), or than time (to a microsecond). Equal is not
/// after.
CORVANE_API unsigned long WasFileCreatedAfter(const std::wstring& path, const std::wstring& other,
                                              bool& result);
CORVANE_API unsigned long WasFileCreatedAfter(const std::wstring& path, const ACE_Time_Value& time,
                                              bool& result);

/// The same for the time of the last write.
CORVANE_API unsigned long WasFileModifiedAfter(const std::wstring& path, const std::wstring& other,
                                               bool& result);
CORVANE_API unsigned long WasFileModifiedAfter(const std::wstring& path, const ACE_Time_Value& time,
                                               bool& result);

/// Sets the time of the file's last write to now. A missing file is ERROR_FILE_NOT_FOUND and stays missing.
CORVANE_API unsigned long TouchFile(const std::wstring& path);

/// Makes an empty file of a new name in the user's temporary folder; the name begins with the first three
/// characters of prefix. out: its path; unchanged when none could be made.
/// Returns the thread's last error as it stands after the calls. After success that may be an old, nonzero
/// code, deliberately: look at out.
CORVANE_API unsigned long GetTempFilename(const std::wstring& prefix, std::wstring& out);

/// What stands after the last "/" or "\", or all of path. Always returns 0. path and name may be one object.
CORVANE_API unsigned long GetFilenameOnly(const std::string& path, std::string& name);
CORVANE_API unsigned long GetFilenameOnly(const std::wstring& path, std::wstring& name);

/// Path of a running process's program. From Windows Vista on this asks for the least of rights and works for
/// 64-bit and most protected processes; on XP it needs the right to read the process's memory, and a 64-bit
/// process gives ERROR_PARTIAL_COPY. No such process: ERROR_INVALID_PARAMETER.
CORVANE_API unsigned long GetProcessNameForPID(int pid, std::wstring& name);

/// The text of GetLastErrorText() for a Windows error code, UTF-8.
CORVANE_API std::string LastError(unsigned long code);

}  // namespace WindowsAgentCommon
