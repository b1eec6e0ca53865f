#include "WindowsAgentCommon/FileUtil.h"

#include "serialization/FileAccess.h"

#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include <algorithm>
#include <memory>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr DWORD kReadSize = 64 * 1024;

class Digest {
public:
    explicit Digest(const EVP_MD* kind)
        : context_(::EVP_MD_CTX_new()),
          ready_(context_ != nullptr && ::EVP_DigestInit_ex(context_.get(), kind, nullptr) == 1) {}

    bool IsReady() const noexcept { return ready_; }

    DWORD Add(const void* data, std::size_t size) {
        if (data == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
        return ::EVP_DigestUpdate(context_.get(), data, size) == 1 ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
    }

    DWORD AddFile(const std::wstring& path) {
        const detail::FileHandle file = detail::OpenToRead(path);
        if (!file) return ::GetLastError();
        const std::unique_ptr<char[]> buffer(new char[kReadSize]);
        for (;;) {
            DWORD got = 0;
            if (!::ReadFile(file.Get(), buffer.get(), kReadSize, &got, nullptr)) return ::GetLastError();
            if (got == 0) return ERROR_SUCCESS;
            const DWORD error = Add(buffer.get(), got);
            if (error != ERROR_SUCCESS) return error;
        }
    }

    DWORD Finish(std::string& hex) {
        unsigned char bytes[EVP_MAX_MD_SIZE];
        unsigned int size = 0;
        if (::EVP_DigestFinal_ex(context_.get(), bytes, &size) != 1) return ERROR_INVALID_HANDLE;
        std::string digits;
        for (unsigned int i = 0; i < size; ++i) {
            digits += "0123456789abcdef"[bytes[i] >> 4U];
            digits += "0123456789abcdef"[bytes[i] & 15U];
        }
        hex = digits;
        return ERROR_SUCCESS;
    }

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const noexcept { ::EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context_;
    bool ready_;
};

// add: gives the digest its bytes and returns an error code.
template <class Source>
DWORD Sum(const EVP_MD* kind, Source add, std::string& hex) {
    Digest digest(kind);
    if (!digest.IsReady()) return ERROR_INVALID_HANDLE;
    const DWORD error = add(digest);
    return error != ERROR_SUCCESS ? error : digest.Finish(hex);
}

struct FreeBio {
    void operator()(BIO* bio) const noexcept { ::BIO_free_all(bio); }
};
using BioChain = std::unique_ptr<BIO, FreeBio>;

// The base64 filter in front of memory, which it then owns; null when there is no room.
BioChain Base64Filter(BIO* memory) {
    BioChain owner(memory);
    BioChain filter(memory != nullptr ? ::BIO_new(::BIO_f_base64()) : nullptr);
    if (filter == nullptr) return filter;
    ::BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
    ::BIO_push(filter.get(), owner.release());
    return filter;
}

bool IsBase64(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '+' || character == '/';
}

// How many bytes text stands for; false when it is not base64. The filter itself stops quietly at bad text.
bool DecodedSize(const char* text, std::size_t length, std::size_t& size) {
    std::size_t padding = 0;
    while (padding < 2 && padding < length && text[length - padding - 1] == '=') ++padding;
    size = length / 4 * 3 - padding;
    return length % 4 == 0 && std::all_of(text, text + length - padding, IsBase64);
}

}  // namespace

unsigned long MD5Sum(const std::wstring& file, std::string& hex) {
    return Sum(
        ::EVP_md5(), [&](Digest& digest) { return digest.AddFile(file); }, hex);
}

unsigned long MD5Sum(void* data, unsigned int len, std::string& hex) {
    return Sum(
        ::EVP_md5(), [&](Digest& digest) { return digest.Add(data, len); }, hex);
}

std::string SHA256Sum(const std::wstring& file) {
    std::string hex;
    Sum(
        ::EVP_sha256(), [&](Digest& digest) { return digest.AddFile(file); }, hex);
    return hex;
}

std::string SHA256Sum(void* data, unsigned int len) {
    std::string hex;
    Sum(
        ::EVP_sha256(), [&](Digest& digest) { return digest.Add(data, len); }, hex);
    return hex;
}

unsigned int EncodeBase64(unsigned char* data, unsigned long len, std::string& out) {
    if (data == nullptr && len != 0) return 0;
    const BioChain chain = Base64Filter(::BIO_new(::BIO_s_mem()));
    if (chain == nullptr) return 0;
    for (unsigned long done = 0; done < len;) {
        const int piece = static_cast<int>(std::min<unsigned long>(len - done, 1UL << 20U));
        const int written = ::BIO_write(chain.get(), data + done, piece);
        if (written <= 0) return 0;
        done += static_cast<unsigned long>(written);
    }
    BUF_MEM* text = nullptr;
    if (len != 0 && BIO_flush(chain.get()) != 1) return 0;
    BIO_get_mem_ptr(::BIO_next(chain.get()), &text);
    out.assign(text->length != 0 ? text->data : "", text->length);
    return 1;
}

unsigned int DecodeBase64(const std::string& text, std::vector<unsigned char>& out) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    const std::size_t length = text.find_last_not_of(" \t\r\n") + 1 - begin;
    std::size_t size = 0;
    if (begin == text.size()) {
        out.clear();
        return 1;
    }
    if (!DecodedSize(text.data() + begin, length, size)) return 0;
    const BioChain chain = Base64Filter(::BIO_new_mem_buf(text.data() + begin, static_cast<int>(length)));
    if (chain == nullptr) return 0;
    std::vector<unsigned char> bytes(size);
    for (std::size_t done = 0; done < size;) {
        const int got = ::BIO_read(chain.get(), bytes.data() + done, static_cast<int>(size - done));
        if (got <= 0) return 0;
        done += static_cast<std::size_t>(got);
    }
    out.swap(bytes);
    return 1;
}

}  // namespace WindowsAgentCommon
