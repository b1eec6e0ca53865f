#include "agent/road/SpoolFormat.h"

#include <array>
#include <cstring>

namespace CorvaneAgent {

namespace {

constexpr char kMagic[8] = {'C', 'V', 'S', 'P', 'O', 'O', 'L', '1'};

void appendNumber(std::string& out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

std::uint32_t readNumber(const char* bytes) {
    std::uint32_t value;  // little endian, as is every machine that this runs on
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

using Tables = std::array<std::array<std::uint32_t, 256>, 4>;

/// The first for a byte, the others for one with one to three bytes behind it.
Tables makeTables() {
    constexpr std::uint32_t kPolynomial = 0xEDB88320;  // CRC-32 of IEEE 802.3, bits reversed
    Tables tables{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ ((value & 1) != 0 ? kPolynomial : 0);
        tables[0][i] = value;
    }
    for (std::size_t t = 1; t < tables.size(); ++t)
        for (std::size_t i = 0; i < 256; ++i) {
            const std::uint32_t before = tables[t - 1][i];
            tables[t][i] = before >> 8 ^ tables[0][before & 0xFF];
        }
    return tables;
}

std::uint32_t extend(std::uint32_t value, const char* bytes, std::size_t count) {
    static const Tables tables = makeTables();
    for (; count >= 4; count -= 4, bytes += 4) {
        value ^= readNumber(bytes);
        value = tables[3][value & 0xFF] ^ tables[2][value >> 8 & 0xFF] ^ tables[1][value >> 16 & 0xFF] ^
                tables[0][value >> 24];
    }
    for (; count > 0; --count, ++bytes)
        value = value >> 8 ^ tables[0][(value ^ static_cast<unsigned char>(*bytes)) & 0xFF];
    return value;
}

/// Of the length field and the data, so that a run of zeros is no record.
std::uint32_t checkValue(const char* length, const char* data, std::size_t size) {
    return ~extend(extend(0xFFFFFFFF, length, 4), data, size);
}

}  // namespace

void PutSegmentHeader(char* bytes, std::uint64_t number) {
    std::memcpy(bytes, kMagic, sizeof kMagic);
    std::memcpy(bytes + sizeof kMagic, &number, sizeof number);  // little endian, as above
}

bool IsSegmentHeader(const char* bytes, std::size_t size, std::uint64_t number) {
    char expected[kSegmentHeaderBytes];
    PutSegmentHeader(expected, number);
    return size >= sizeof expected && std::memcmp(bytes, expected, sizeof expected) == 0;
}

void AppendRecord(std::string& out, const char* data, std::size_t size) {
    const std::size_t start = out.size();
    appendNumber(out, size, 4);
    const std::uint32_t check = checkValue(out.data() + start, data, size);
    appendNumber(out, check, 4);
    out.append(data, size);
}

RecordState CheckRecord(const char* bytes, std::size_t size, std::size_t& dataBytes) {
    dataBytes = 0;
    if (size < kRecordHeaderBytes) return RecordState::kIncomplete;
    const std::size_t length = readNumber(bytes);
    if (length > kMaxRecordBytes) return RecordState::kDamaged;
    dataBytes = length;
    if (size - kRecordHeaderBytes < length) return RecordState::kIncomplete;
    const std::uint32_t check = checkValue(bytes, bytes + kRecordHeaderBytes, length);
    return check == readNumber(bytes + 4) ? RecordState::kWhole : RecordState::kDamaged;
}

}  // namespace CorvaneAgent
