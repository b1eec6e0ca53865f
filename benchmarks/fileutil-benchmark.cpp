// Gzip, digests and tar beside the plain library calls on the same 200 MB. No tar program runs under Wine:
// the peer of extraction reads the archive in pieces of 64 KB and writes the same bytes to the same number of
// files.

#include "WindowsAgentCommon/FileUtil.h"
#include "benchmarks/Benchmark.h"
#include "tests/support/TempFolder.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <cstdlib>
#include <memory>
#include <string>

using namespace WindowsAgentCommon;

namespace {

constexpr unsigned int kPiece = 64 * 1024;
constexpr int kFiles = 20;

void Require(bool condition, const char* what) {
    if (condition) return;
    std::printf("failed: %s\n", what);
    std::exit(1);
}

// Log lines with numbers that differ.
std::string MakeText(std::size_t size) {
    std::string text;
    text.reserve(size + 100);
    unsigned state = 1;
    while (text.size() < size) {
        state = state * 1664525U + 1013904223U;
        char line[100];
        text.append(line, static_cast<std::size_t>(std::snprintf(
                              line, sizeof line, "Event %u from channel %u took %u ms, queue depth %u\r\n",
                              state >> 16U, (state >> 8U) & 15U, state & 1023U, state >> 27U)));
    }
    text.resize(size);
    return text;
}

std::string MakeTar(const std::string& text) {
    std::string tar;
    const std::size_t size = text.size() / kFiles / 512 * 512;
    tar.reserve(text.size() + 40 * 512);
    for (int i = 0; i < kFiles; ++i) {
        std::string header(512, '\0');
        char field[24];
        header.replace(0, 6, "file-" + std::string(1, static_cast<char>('a' + i)));
        std::snprintf(field, sizeof field, "%011o", static_cast<unsigned>(size));
        header.replace(124, 11, field)[156] = '0';
        unsigned sum = 256;
        for (const char byte : header) sum += static_cast<unsigned char>(byte);
        std::snprintf(field, sizeof field, "%06o", sum);
        header.replace(148, 6, field);
        tar += header;
        tar.append(text, 0, size);
    }
    return tar.append(1024, '\0');
}

// Calls take(data, size) with each piece of a file.
template <class Take>
void ForEachPiece(const std::wstring& path, Take take) {
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    const std::unique_ptr<char[]> buffer(new char[kPiece]);
    DWORD got = 0;
    while (::ReadFile(file, buffer.get(), kPiece, &got, nullptr) && got != 0) take(buffer.get(), got);
    ::CloseHandle(file);
}

HANDLE Create(const std::wstring& path) {
    return ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                         nullptr);
}

void PlainGzip(const std::wstring& source, const std::wstring& target) {
    const gzFile file = ::gzopen_w(target.c_str(), "wb");
    ::gzbuffer(file, kPiece);
    ForEachPiece(source, [&](const char* data, DWORD size) { ::gzwrite(file, data, size); });
    ::gzclose(file);
}

void PlainGunzip(const std::wstring& source, const std::wstring& target) {
    const gzFile file = ::gzopen_w(source.c_str(), "rb");
    ::gzbuffer(file, kPiece);
    const HANDLE out = Create(target);
    const std::unique_ptr<char[]> buffer(new char[kPiece]);
    DWORD written = 0;
    for (int got = 0; (got = ::gzread(file, buffer.get(), kPiece)) > 0;)
        ::WriteFile(out, buffer.get(), static_cast<DWORD>(got), &written, nullptr);
    ::CloseHandle(out);
    ::gzclose(file);
}

void PlainDigest(const std::wstring& path, const EVP_MD* kind) {
    EVP_MD_CTX* const context = ::EVP_MD_CTX_new();
    ::EVP_DigestInit_ex(context, kind, nullptr);
    ForEachPiece(path, [&](const char* data, DWORD size) { ::EVP_DigestUpdate(context, data, size); });
    unsigned char sum[EVP_MAX_MD_SIZE];
    ::EVP_DigestFinal_ex(context, sum, nullptr);
    ::EVP_MD_CTX_free(context);
}

void PlainCopy(const std::wstring& archive, unsigned long long size, const std::wstring& folder) {
    HANDLE out = INVALID_HANDLE_VALUE;
    unsigned long long done = 0;
    int files = 0;
    ForEachPiece(archive, [&](const char* data, DWORD got) {
        if (done >= size / kFiles * static_cast<unsigned>(files) && files < kFiles) {
            ::CloseHandle(out);
            out = Create(folder + L"\\file-" + static_cast<wchar_t>(L'a' + files++));
        }
        DWORD written = 0;
        ::WriteFile(out, data, got, &written, nullptr);
        done += got;
    });
    ::CloseHandle(out);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what is thrown ends the benchmark
int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    const test::TempFolder temp;
    const std::wstring text = temp.Path(L"text"), tar = temp.Path(L"tar"), packed = temp.Path(L"packed.gz"),
                       out = temp.Path(L"out"), folder = temp.Path(L"folder");
    {
        const std::string bytes = MakeText(comparison.IsBrief() ? 2'000'000 : 200'000'000);
        temp.Write(L"text", bytes);
        temp.Write(L"tar", MakeTar(bytes));
    }
    unsigned long long tarSize = 0;
    Require(GetFilesize(tar, tarSize) == 0 && CreateDirectoryRecursive(folder) == 0, "preparing");
    std::string hex;
    comparison.Run(
        "GZip", "gzwrite", 1, [&] { Require(GZip(text, packed) == 0, "GZip"); },
        [&] { PlainGzip(text, packed); }, 3);
    comparison.Run(
        "GUnZip", "gzread + WriteFile", 1, [&] { Require(GUnZip(packed, out) == 0, "GUnZip"); },
        [&] { PlainGunzip(packed, out); }, 7);
    comparison.Run(
        "MD5Sum", "EVP_DigestUpdate", 1, [&] { Require(MD5Sum(text, hex) == 0, "MD5Sum"); },
        [&] { PlainDigest(text, ::EVP_md5()); }, 11);
    comparison.Run(
        "SHA256Sum", "EVP_DigestUpdate", 1, [&] { Require(!SHA256Sum(text).empty(), "SHA256Sum"); },
        [&] { PlainDigest(text, ::EVP_sha256()); }, 7);
    comparison.Run(
        "BasicUnTar", "ReadFile + WriteFile", 1,
        [&] { Require(BasicUnTar(tar, folder) == kFiles, "BasicUnTar"); },
        [&] { PlainCopy(tar, tarSize, folder); }, 11);
}
