// Formatting and encoding beside the bare calls underneath them.

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "benchmarks/Benchmark.h"

#include <cstdio>
#include <string>

using namespace WindowsAgentCommon;

namespace {

void CompareFormatting(bench::Comparison& comparison) {
    std::string out;
    comparison.Run(
        "Format, log line", "_snprintf + assign", 2000,
        [&] {
            Format(out, "Event %d from channel %s took %d ms, queue depth %d", 4624, "Security", 12, 345);
        },
        [&] {
            char buffer[1024];
            const int length =
                ::_snprintf(buffer, sizeof(buffer), "Event %d from channel %s took %d ms, queue depth %d",
                            4624, "Security", 12, 345);
            out.assign(buffer, static_cast<std::size_t>(length));
        });
    const wchar_t* const path = L"C:\\Program Files\\Corvane\\logs\\\x0436\x0443\x0440\x043d\x0430\x043b.log";
    comparison.Run(
        "Format, wide path in a narrow line", "ToUTF8 + _snprintf", 2000,
        [&] { Format(out, "Cannot open %ls, error %d", path, 5); },
        [&] {
            char buffer[1024];
            const int length =
                ::_snprintf(buffer, sizeof(buffer), "Cannot open %s, error %d", ToUTF8(path, 0).c_str(), 5);
            out.assign(buffer, static_cast<std::size_t>(length));
        });
}

void CompareEncoding(bench::Comparison& comparison, const char* name, std::size_t units) {
    const std::wstring text(units, L'\x0416');
    std::string out;
    comparison.Run(
        name, "WideCharToMultiByte", 2000, [&] { out = ToUTF8(text); },
        [&] {
            char buffer[4096];
            const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                     buffer, sizeof(buffer), nullptr, nullptr);
            out.assign(buffer, static_cast<std::size_t>(length));
        });
}

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    CompareFormatting(comparison);
    CompareEncoding(comparison, "ToUTF8, 40 letters", 40);
    CompareEncoding(comparison, "ToUTF8, 500 letters", 500);
    CompareEncoding(comparison, "ToUTF8, 600 letters", 600);
}
