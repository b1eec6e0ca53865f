#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace WindowsAgentCommon::detail {

/// \file
/// The records of a string registry's backing file (docs/formats/string-registry.md), from and to memory.

constexpr std::size_t kRegistryHeadSize = 12;  ///< length, key, reserved
constexpr std::size_t kRegistryCounted = 8;    ///< what a record's length counts besides its text

struct RegistryRecord {
    unsigned int key;
    std::string_view text;  ///< Points into the bytes that were read.
};

/// Appends a record to out. Throws only std::bad_alloc, and nothing where out has room for it.
inline void AppendRegistryRecord(std::string& out, const RegistryRecord& record) {
    const std::uint32_t head[] = {static_cast<std::uint32_t>(record.text.size() + kRegistryCounted),
                                  record.key, 0};
    static_assert(sizeof head == kRegistryHeadSize);
    out.append(reinterpret_cast<const char*>(head), sizeof head).append(record.text);
}

/// Walks the records in bytes that may be anything. Throws nothing.
class RegistryRecords {
public:
    /// bytes: not owned.
    explicit RegistryRecords(std::string_view bytes) noexcept : rest_(bytes) {}

    /// Takes the next whole record. False when there is none; record is then unchanged.
    bool Next(RegistryRecord& record) noexcept {
        const std::uint32_t length = NumberAt(0);
        if (rest_.size() < kRegistryHeadSize || length < kRegistryCounted || length > rest_.size() - 4)
            return false;
        record = {NumberAt(4), std::string_view(rest_.data() + kRegistryHeadSize, length - kRegistryCounted)};
        rest_.remove_prefix(std::size_t{4} + length);
        return true;
    }

    /// How many bytes lie behind the records that were taken.
    std::size_t RestSize() const noexcept { return rest_.size(); }

    /// When Next has returned false: whether the rest is nothing, or what an append leaves that was cut off
    /// by the end of the process (the first bytes of a record) or of the machine (zeros).
    bool RestIsCutOff() const noexcept {
        const auto isZero = [](char byte) { return byte == 0; };
        if (rest_.size() < 4 || std::all_of(rest_.begin(), rest_.end(), isZero)) return true;
        const std::string_view reserved = rest_.substr(std::min<std::size_t>(rest_.size(), 8), 4);
        return NumberAt(0) >= kRegistryCounted && std::all_of(reserved.begin(), reserved.end(), isZero);
    }

private:
    // 0 where the bytes end before.
    std::uint32_t NumberAt(std::size_t offset) const noexcept {
        std::uint32_t number = 0;
        if (rest_.size() >= offset + sizeof number)
            std::memcpy(&number, rest_.data() + offset, sizeof number);
        return number;
    }

    std::string_view rest_;
};

}  // namespace WindowsAgentCommon::detail
