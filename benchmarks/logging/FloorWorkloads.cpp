// What logging costs at least: the bare calls without which no line reaches the file.

#include "benchmarks/logging/Workload.h"

#include "foundation/Win32Handle.h"

using namespace WindowsAgentCommon;

namespace {

// The line before the message; only its length matters here.
constexpr char kPrefix[] = "01-01 00:00:00.000 INFO  Code.Benchmark : ";
constexpr std::size_t kPrefixLength = sizeof(kPrefix) - 1;

detail::FileHandle Create(const char* path) {
    detail::FileHandle file(::CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) std::abort();
    return file;
}

void Write(const detail::FileHandle& file, const char* data, std::size_t size) {
    DWORD written = 0;
    if (!::WriteFile(file.Get(), data, static_cast<DWORD>(size), &written, nullptr) || written != size)
        std::abort();
}

/// A reading of the time, a bounded printf of the message and a copy of the line for each call; a write for
/// each full buffer.
void OneThread(const bench::Run& run) {
    const detail::FileHandle file = Create(run.file);
    char buffer[10000];
    std::size_t used = 0;
    const auto flush = [&] {
        Write(file, buffer, used);
        used = 0;
    };
    bench::TimeRounds(run, [&](int calls) {
        bench::LogLines(calls, [&](int event, const char* channel, int milliseconds, int depth) {
            FILETIME now;
            ::GetSystemTimeAsFileTime(&now);
            char message[1024];
            const auto length = static_cast<std::size_t>(
                ::_snprintf(message, sizeof(message), bench::kFormat, event, channel, milliseconds, depth));
            if (used + kPrefixLength + length + 1 > sizeof(buffer)) flush();
            std::memcpy(buffer + used, kPrefix, kPrefixLength);
            std::memcpy(buffer + used + kPrefixLength, message, length);
            used += kPrefixLength + length + 1;
            buffer[used - 1] = '\n';
        });
        flush();
    });
}

/// A ready line is written and flushed to the disk for each call.
void Instant(const bench::Run& run) {
    const detail::FileHandle file = Create(run.file);
    char line[256] = {};
    const auto length = static_cast<std::size_t>(::_snprintf(
        line, sizeof(line), "%sEvent 4000 from channel Security took 10 ms, queue depth 100\n", kPrefix));
    bench::TimeRounds(run, [&](int calls) {
        for (int i = 0; i < calls; ++i) {
            Write(file, line, length);
            if (!::FlushFileBuffers(file.Get())) std::abort();
        }
    });
}

const bench::Workload kOneThread("floor-one-thread", OneThread);
const bench::Workload kInstant("floor-instant", Instant);

}  // namespace

int main(int argc, char** argv) { return bench::Workload::Main(argc, argv); }
