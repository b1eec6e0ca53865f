// The string registry beside the bare ordered maps in it.

#include "WindowsAgentCommon/StringRegistry.h"
#include "benchmarks/Benchmark.h"
#include "serialization/RegistryRecords.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <process.h>

using namespace WindowsAgentCommon;

namespace {

constexpr int kLookedUp = 100'000;

std::string Text(int number) { return "field." + std::to_string(number); }

struct Strings {
    StringRegistry registry;
    std::map<std::string, unsigned int> byString;
    std::map<unsigned int, std::string> byKey;
    std::vector<std::string> texts;  // in an order that no cache knows
    std::vector<unsigned int> keys;

    Strings() {
        for (int i = 0; i < kLookedUp; ++i) {
            const std::string text = Text(static_cast<int>(i * 48'271LL % kLookedUp));
            unsigned int key = 0;
            if (!registry.RegisterString(text, key)) continue;  // a key that another one holds
            byString.emplace(text, key);
            byKey.emplace(key, text);
        }
        for (std::size_t i = 0; i < byString.size(); ++i) {
            texts.push_back(Text(static_cast<int>(i * 69'621 % kLookedUp)));
            registry.GetKey(texts.back(), keys.emplace_back());
        }
    }
};

void CompareLookups(bench::Comparison& comparison, const Strings& strings) {
    std::size_t ours = 0, peers = 0;
    const std::size_t count = strings.texts.size();
    unsigned int key = 0;
    comparison.Run(
        "GetKey of 100,000", "std::map::find", 2000,
        [&] { strings.registry.GetKey(strings.texts[ours++ % count], key); },
        [&] {
            const auto there = strings.byString.find(strings.texts[peers++ % count]);
            if (there != strings.byString.end()) key = there->second;
        });
    std::string text;
    comparison.Run(
        "GetString of 100,000", "std::map::find + assign", 2000,
        [&] { strings.registry.GetString(strings.keys[ours++ % count], text); },
        [&] {
            const auto there = strings.byKey.find(strings.keys[peers++ % count]);
            if (there != strings.byKey.end()) text = there->second;
        });
}

// --- two readers beside one ---

struct Reader {
    const Strings* strings;
    int lookups;
    std::size_t at;
    bool byString;

    static unsigned WINAPI Run(void* self) {
        Reader& reader = *static_cast<Reader*>(self);
        const Strings& strings = *reader.strings;
        std::string text;
        unsigned int key = 0;
        for (int i = 0; i < reader.lookups; ++i) {
            const std::size_t at = reader.at++ % strings.keys.size();
            if (reader.byString)
                strings.registry.GetKey(strings.texts[at], key);
            else
                strings.registry.GetString(strings.keys[at], text);
        }
        return 0;
    }
};

void RunReaders(const Strings& strings, int readers, bool byString, int lookups) {
    Reader work[2] = {{&strings, lookups, 0, byString}, {&strings, lookups, 50'000, byString}};
    HANDLE threads[2];
    for (int i = 0; i < readers; ++i)
        threads[i] =
            reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, Reader::Run, &work[i], 0, nullptr));
    ::WaitForMultipleObjects(static_cast<DWORD>(readers), threads, TRUE, INFINITE);
    for (int i = 0; i < readers; ++i) ::CloseHandle(threads[i]);
}

// Two threads do twice the work of one: together they are 2 / ratio times as fast.
void CompareReaders(bench::Comparison& comparison, const Strings& strings, bool byString, int lookups) {
    comparison.Run(
        byString ? "GetKey, two threads" : "GetString, two threads", "one thread, half of it", 1,
        [&] { RunReaders(strings, 2, byString, lookups); },
        [&] { RunReaders(strings, 1, byString, lookups); });
}

// --- loading ---

using Pairs = std::vector<std::pair<std::string, unsigned int>>;

// Too slow for the usual number of rounds. prepare: not timed.
template <class Prepare, class Work>
double Milliseconds(Prepare prepare, Work work) {
    LARGE_INTEGER frequency, begin, end;
    prepare();
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&begin);
    work();
    ::QueryPerformanceCounter(&end);
    return static_cast<double>(end.QuadPart - begin.QuadPart) * 1e3 / static_cast<double>(frequency.QuadPart);
}

std::wstring WriteFileOf(const Pairs& pairs) {
    std::string bytes;
    for (const auto& [text, key] : pairs) detail::AppendRegistryRecord(bytes, {key, text});
    wchar_t folder[MAX_PATH], path[MAX_PATH];
    ::GetTempPathW(MAX_PATH, folder);
    ::GetTempFileNameW(folder, L"ccb", 0, path);
    std::FILE* const file = ::_wfopen(path, L"wb");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    return path;
}

void CompareLoading(int records) {
    Pairs pairs;
    {
        StringRegistry registry;
        for (int i = 0; i < records; ++i) {
            pairs.emplace_back(Text(i), 0);
            registry.RegisterString(pairs.back().first, pairs.back().second);
        }
    }
    const std::wstring path = WriteFileOf(pairs);
    std::unique_ptr<StringRegistry> registry;
    std::map<std::string, unsigned int> byString;
    std::map<unsigned int, std::string> byKey;
    std::vector<double> ours, peers;
    bool loaded = true;
    for (int round = 0; round < 7; ++round) {
        ours.push_back(Milliseconds([&] { registry = std::make_unique<StringRegistry>(); },
                                    [&] { loaded = registry->BackByFile(L"file:///" + path) && loaded; }));
        registry.reset();
        peers.push_back(Milliseconds([] {},
                                     [&] {
                                         for (const auto& [text, key] : pairs) {
                                             byString.emplace(text, key);
                                             byKey.emplace(key, text);
                                         }
                                     }));
        byString.clear();
        byKey.clear();
    }
    ::DeleteFileW(path.c_str());
    std::sort(ours.begin(), ours.end());
    std::sort(peers.begin(), peers.end());
    std::printf("%s %d records: median %.0f ms; inserts into two std::maps: %.0f ms; ratio %.2f\n",
                loaded ? "loading" : "FAILED to load", records, ours[3], peers[3], ours[3] / peers[3]);
}

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    const bool brief = argc > 1 && std::string(argv[1]) == "--brief";
    const auto strings = std::make_unique<Strings>();
    CompareLookups(comparison, *strings);
    for (const bool byString : {true, false})
        CompareReaders(comparison, *strings, byString, brief ? 100 : 20'000);
    CompareLoading(brief ? 1000 : 1'000'000);
}
