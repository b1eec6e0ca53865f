// Configuration blocks of 1,000 entries beside the bare multimap underneath them.

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/Formatting.h"
#include "benchmarks/Benchmark.h"

#include <map>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>

using namespace WindowsAgentCommon;

namespace {

using Map = std::multimap<std::string, std::string>;

/// A stream's bytes without a copy of them.
class Bytes : public std::streambuf {
public:
    explicit Bytes(std::string& bytes) { setg(bytes.data(), bytes.data(), bytes.data() + bytes.size()); }
};

/// The names and values of a component's settings, in the order of names or as they may come.
std::vector<std::pair<std::string, std::string>> MakePairs(bool ordered) {
    std::vector<std::pair<std::string, std::string>> pairs(1000);
    for (int i = 0; i < 1000; ++i) {
        Format(pairs[static_cast<std::size_t>(i)].first, "Collector.%03d.PollInterval", i);
        Format(pairs[static_cast<std::size_t>(i)].second, "%d", i * 17);
    }
    if (!ordered) std::shuffle(pairs.begin(), pairs.end(), std::mt19937(1));
    return pairs;
}

void CompareReading(bench::Comparison& comparison, const char* name, bool ordered) {
    const auto pairs = MakePairs(ordered);
    std::string bytes("\x01\x00\xAA\xAA", 4);
    for (const auto& [key, value] : pairs) {
        EnvironmentBlock one;
        one.SetStringValue(key, value);
        std::ostringstream stream;
        one.SaveTo(stream);
        bytes += stream.str().substr(4);
    }
    comparison.Run(
        name, "multimap::insert", 20,
        [&] {
            Bytes source(bytes);
            std::istream stream(&source);
            EnvironmentBlock block;
            block.ReadFrom(stream);
        },
        [&] {
            Map map;
            for (const auto& pair : pairs) map.insert(pair);
        });
}

void CompareLookup(bench::Comparison& comparison) {
    const auto pairs = MakePairs(false);
    EnvironmentBlock block;
    Map map;
    for (const auto& pair : pairs) {
        block.SetStringValue(pair.first, pair.second);
        map.insert(pair);
    }
    volatile bool found = false;
    std::size_t ours = 0, theirs = 0;
    const auto next = [&](std::size_t& at) -> const std::string& { return pairs[at++ % pairs.size()].first; };
    comparison.Run(
        "ValueAvailable of 1,000", "multimap::find", 5000, [&] { found = block.ValueAvailable(next(ours)); },
        [&] { found = map.find(next(theirs)) != map.end(); });
    std::string out;
    comparison.Run(
        "GetStringValue of 1,000", "multimap::find, copy", 5000,
        [&] { found = block.GetStringValue(next(ours), out, "none"); },
        [&] {
            const auto at = map.find(next(theirs));
            found = at != map.end();
            out = found ? at->second : "none";
        });
}

void CompareWriting(bench::Comparison& comparison) {
    EnvironmentBlock block;
    for (const auto& pair : MakePairs(true)) block.SetStringValue(pair.first, pair.second);
    comparison.Run(
        "SaveTo, 1,000 entries", "copy of the multimap", 20,
        [&] {
            std::ostringstream stream;
            block.SaveTo(stream);
        },
        [&] { const Map copy(block.Entries()); });
}

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    CompareReading(comparison, "ReadFrom, 1,000 ordered entries", true);
    CompareReading(comparison, "ReadFrom, 1,000 shuffled entries", false);
    CompareLookup(comparison);
    CompareWriting(comparison);
}
