#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace WindowsAgentCommon::test {

/// The same numbers from the same seed on every platform (SplitMix64).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint32_t Next() {
        std::uint64_t bits = state_ += 0x9E3779B97F4A7C15;
        bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
        bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
        return static_cast<std::uint32_t>(bits >> 32);
    }

    /// 0 to limit - 1; 0 when limit is 0.
    std::size_t Below(std::size_t limit) { return limit == 0 ? 0 : Next() % limit; }

private:
    std::uint64_t state_;
};

/// One of the examples with one to four changes, at most four times as long as the longest and 64 bytes.
inline std::string Mutate(const std::vector<std::string>& examples, Random& random) {
    static constexpr std::uint32_t kNumbers[] = {0,      1,      3,      4,          0x7F,       0x80,
                                                 0xFFFF, 0x1000, 0x1001, 0xFFFFFFFF, 0x7FFFFFFF, 0xFFFFFFFC};
    std::size_t longest = 0;
    for (const std::string& example : examples) longest = std::max(longest, example.size());
    std::string text = examples[random.Below(examples.size())];
    for (std::size_t changes = 1 + random.Below(4); changes > 0; --changes) {
        const std::size_t at = random.Below(text.size() + 1), count = random.Below(text.size() - at + 1);
        const std::string& other = examples[random.Below(examples.size())];
        const std::size_t kind = random.Below(8);
        if (kind == 0 && at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << random.Below(8)));
        if (kind == 1 || kind == 2) {  // a number that lies at an edge, or near the input's size
            const std::uint32_t number =
                random.Below(3) == 0 ? text.size() - at : kNumbers[random.Below(std::size(kNumbers))];
            const std::size_t width = std::min(std::size_t{1} << random.Below(3), text.size() - at);
            for (std::size_t i = 0; i < width; ++i) text[at + i] = static_cast<char>(number >> (8 * i));
        }
        if (kind == 3) text.erase(at, count);
        if (kind == 4) text.insert(at, text.substr(at, count));
        if (kind == 5) text.insert(at, random.Below(16) + 1, static_cast<char>(random.Next()));
        if (kind > 5) text.replace(at, count, other, random.Below(other.size() + 1), std::string::npos);
        if (text.size() > 4 * longest + 64) text.resize(4 * longest + 64);
    }
    return text;
}

}  // namespace WindowsAgentCommon::test
