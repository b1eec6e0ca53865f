// Feeds each reader with seeded random mutations of valid inputs, each ending at an inaccessible page.
//
//   mutation-tests [COUNT [READER [FIRST]]]   COUNT inputs (20,000) of READER or all, from number FIRST on
//   (0)
//
// An input's number alone decides what it is: a failure names it, and COUNT 1 with that FIRST repeats it.
// Exit codes: 0 no fault found, 1 a fault or a crash, 2 wrong use. A hang shows in the last line printed.

#include "CorvaneLogger/CV_Logger.h"
#include "tests/mutation/Mutation.h"
#include "tests/mutation/Reader.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/HeapMeter.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <windows.h>

using namespace WindowsAgentCommon::test;

namespace {

constexpr std::uint64_t kSeed = 0x436F7276616E65;
constexpr std::size_t kFixedMemory = 65536;
constexpr std::ptrdiff_t kKeptMemory = 131072;  // what is made once stays, whatever the number of inputs

struct {
    const char* reader = "none";
    unsigned long number = 0;
    std::string input;
} g_current;

void Report(const char* what) {
    std::printf("FAILED: %s: input %lu: %s\n  ", g_current.reader, g_current.number, what);
    for (const char byte : g_current.input) std::printf("%02X", static_cast<unsigned int>(byte) & 0xFF);
    std::printf("\n");
    std::fflush(stdout);
}

LONG WINAPI OnFault(EXCEPTION_POINTERS*) {
    Report("crashed");
    ::TerminateProcess(::GetCurrentProcess(), 1);
    return EXCEPTION_EXECUTE_HANDLER;
}

void OnAbort(int) { OnFault(nullptr); }

bool RunOne(const Reader& reader, const std::vector<std::string>& examples) {
    Random random(kSeed + g_current.number);
    const bool isExample = g_current.number < examples.size();
    g_current.input = isExample ? examples[g_current.number] : Mutate(examples, random);
    const std::string& input = g_current.input;
    const GuardedBuffer bytes(input.data(), input.size());
    const std::ptrdiff_t before = HeapMeter::Held();
    HeapMeter::Mark();
    try {
        reader.read(bytes.Data(), input.size());
        const auto most = static_cast<std::ptrdiff_t>(kFixedMemory + reader.memoryPerByte * input.size());
        Require(HeapMeter::Peak() - before <= most, "took more memory than its reader states");
        return true;
    } catch (const std::exception& fault) {
        Report(fault.what());
        return false;
    }
}

bool Run(const Reader& reader, unsigned long first, unsigned long count) {
    const std::vector<std::string> examples = reader.examples();
    const std::ptrdiff_t before = HeapMeter::Held();
    g_current.reader = reader.name;
    for (unsigned long done = 0; done < count; ++done) {
        g_current.number = first + done;
        if (count >= 10 && done % (count / 10) == 0) {
            std::printf("%s: from %lu\n", reader.name, g_current.number);
            std::fflush(stdout);
        }
        if (!RunOne(reader, examples)) return false;
    }
    std::printf("%s: %lu inputs, no fault\n", reader.name, count);
    if (HeapMeter::Held() - before <= kKeptMemory) return true;
    std::printf("FAILED: %s: keeps %ld bytes\n", reader.name, static_cast<long>(HeapMeter::Held() - before));
    return false;
}

}  // namespace

void WindowsAgentCommon::test::Require(bool condition, const char* what) {
    if (!condition) throw std::logic_error(what);
}

int main(int argc, char** argv) {
    const unsigned long count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 20'000;
    const std::string name = argc > 2 ? argv[2] : "all";
    const unsigned long first = argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 0;
    ::SetUnhandledExceptionFilter(OnFault);
    std::signal(SIGABRT, OnAbort);
    CorvaneLogger::CV_Logger::TheLogger().addBaseLogger("root", CorvaneLogger::kLevelFatal);
    const HeapMeter meter;
    bool found = false, passed = true;
    for (const Reader& reader : Registration::All()) {
        if (name != "all" && name != reader.name) continue;
        found = true;
        passed = Run(reader, first, count) && passed;
    }
    if (count == 0 || !found) {
        std::printf("usage: mutation-tests [COUNT [READER|all [FIRST]]]\n");
        return 2;
    }
    return passed ? 0 : 1;
}
