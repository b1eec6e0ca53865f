// Payloads beside the least that rendering and carrying the same fields takes.

#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/Payloads.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"
#include "benchmarks/Benchmark.h"
#include "benchmarks/PlainFields.h"
#include "tests/support/FakeComponentFactory.h"
#include "tests/support/ImportPatch.h"

#include <boost/variant/get.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

using namespace WindowsAgentCommon;

namespace {

const std::string kHeader = "<13>Mar 05 09:07:03 ws1 ";
const std::string kTexts[] = {"10.20.30.40",
                              "CORP\\svc-backup",
                              "Microsoft-Windows-Security-Auditing",
                              "ws1.corp.example",
                              "C:\\Windows\\System32\\services.exe",
                              "An account was successfully logged on."};
constexpr std::int64_t kNumbers[] = {4624, 0x3E7, 5};
const ACE_Time_Value kTime(1700000000, 123456);

struct Field {
    const char* name;
    PayloadField field;
};

std::vector<Field> Fields() {
    return {{"src", {1, kTexts[0]}},     {"user", {1, kTexts[1]}},     {"provider", {1, kTexts[2]}},
            {"event", {7, kNumbers[0]}}, {"computer", {1, kTexts[3]}}, {"logon", {7, kNumbers[1]}},
            {"process", {1, kTexts[4]}}, {"time", {10, kTime}},        {"severity", {5, kNumbers[2]}},
            {"message", {1, kTexts[5]}}};
}

void FormatLine(fmt::memory_buffer& line) {
    line.clear();
    fmt::format_to(std::back_inserter(line),
                   "{}src={}\tuser={}\tprovider={}\tevent={}\tcomputer={}\tlogon={}\tprocess={}\ttime={}\t"
                   "severity={}\tmessage={}",
                   kHeader, kTexts[0], kTexts[1], kTexts[2], kNumbers[0], kTexts[3], kNumbers[1], kTexts[4],
                   std::int64_t{kTime.sec()} * 1000 + kTime.usec() / 1000, kNumbers[2], kTexts[5]);
}

// --- counted allocations of the library and of what it is built on ---

unsigned long g_allocations = 0;

void* Malloc(std::size_t size) { return ++g_allocations, std::malloc(size); }

template <class Work>
unsigned long AllocationsOf(Work work) {
    const test::ImportPatch strings(L"libstdc++-6.dll", "malloc", Malloc);
    const test::ImportPatch blocks(L"libACE.dll", "malloc", Malloc);
    g_allocations = 0;
    work();
    return g_allocations;
}

// --- what is compared ---

void CompareRendering(bench::Comparison& comparison, IPayloadFactory& factory) {
    Payloadv2 payload;
    unsigned int id = 0;
    factory.RegisterField("SyslogHeader", 1, id);
    payload.AddField(id, {1, kHeader}, kVisitHeader);
    for (const auto& [name, field] : Fields()) {
        factory.RegisterField(name, field.first, id);
        payload.AddField(id, field, 0);
    }
    SyslogPayloadBuilder builder;
    std::string line;
    fmt::memory_buffer peer;
    builder.BuildPayloadString(payload, line);
    FormatLine(peer);
    if (line != std::string(peer.data(), peer.size())) std::printf("FAILED: the lines differ\n");
    comparison.Run(
        "render 10 fields and header", "fmt::format_to", 1000,
        [&] { builder.BuildPayloadString(payload, line); }, [&] { FormatLine(peer); });
    std::printf("allocations per line: %lu\n",
                AllocationsOf([&] { builder.BuildPayloadString(payload, line); }));
}

struct Reader : IPayloadVisitor {
    void Visit(unsigned int id, const PayloadField& field, unsigned int) override {
        const auto* const text = boost::strict_get<std::string>(&field.second);
        sum += id + static_cast<std::size_t>(field.first) + (text != nullptr ? text->size() : 8);
    }
    std::size_t sum = 0;
};

void CompareCarrying(bench::Comparison& comparison) {
    Payloadv2 payload;
    const std::vector<Field> fields = Fields();
    const std::int64_t time = kTime.sec();
    std::vector<bench::PlainField> plainFields;
    std::size_t texts = 0, numbers = 0;
    for (unsigned int i = 0; i < fields.size(); ++i) {
        const PayloadField& field = fields[i].field;
        const auto* const text = boost::strict_get<std::string>(&field.second);
        const void* const number = field.first == 10 ? &time : &kNumbers[numbers % 3];
        if (text == nullptr && field.first != 10) ++numbers;
        plainFields.push_back(text != nullptr
                                  ? bench::PlainField{i, 1, 0, kTexts[texts++].data(), text->size()}
                                  : bench::PlainField{i, field.first, 2, number, 8});
    }
    bench::PlainFields plain(2048);
    Reader reader;
    std::size_t sum = 0;
    const auto ours = [&] {
        payload.Clear();
        for (unsigned int i = 0; i < fields.size(); ++i) payload.AddField(i, fields[i].field, 0);
        payload.Accept(reader);
    };
    const auto peer = [&] {
        plain.Rewind();
        for (const bench::PlainField& field : plainFields) plain.Write(field);
        plain.Rewind();
        bench::PlainField field{};
        for (std::size_t i = 0; i < plainFields.size() && plain.Read(field); ++i)
            sum += field.id + static_cast<std::size_t>(field.typeInfo) + field.size;
    };
    ours();
    peer();
    if (reader.sum != sum) std::printf("FAILED: not the same was read\n");
    comparison.Run("Payloadv2, fill and read 10 fields", "checked copies", 1000, ours, peer);
    std::printf("allocations per payload: %lu\n", AllocationsOf(ours));
}

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    try {
        test::FakeComponentFactory components;
        const std::unique_ptr<ACE_Service_Object> service(_make_PayloadFactory(nullptr));
        auto& factory = dynamic_cast<IPayloadFactory&>(*service);
        components.components["PayloadFactory"] = &factory;
        factory.Initialize(EnvironmentBlock());
        CompareRendering(comparison, factory);
        CompareCarrying(comparison);
    } catch (const std::exception& failure) {
        std::printf("FAILED: %s\n", failure.what());
        return 1;
    }
    return 0;
}
