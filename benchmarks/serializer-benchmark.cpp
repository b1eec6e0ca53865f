// The memory serializer, through its interface, beside the least that a serializer could do.

#include "WindowsAgentCommon/MemoryBufferSerializer.h"
#include "benchmarks/Benchmark.h"
#include "benchmarks/PlainBuffer.h"

#include <cstring>
#include <memory>
#include <vector>

using namespace WindowsAgentCommon;

namespace {

constexpr unsigned int kValues = 1000;
constexpr unsigned int kMebibyte = 1 << 20;

void Rewind(ISerializer& serializer) { serializer.Seek(0, ISerializer::FromStart, ISerializer::Forward); }

}  // namespace

int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    MemoryBufferSerializer buffer(kMebibyte, kMebibyte);
    const MemoryBufferSerializer unwritten(buffer);
    ISerializer* volatile const hidden = &buffer;
    ISerializer* const serializer = hidden;
    const std::unique_ptr<bench::IPlainBuffer> plain = bench::MakePlainBuffer(kMebibyte);
    volatile unsigned long total = 0;

    comparison.Run(
        "1,000 WriteLong", "virtual 4-byte copies", 200,
        [&] {
            buffer = unwritten;  // the edit point goes back, too
            for (unsigned int i = 0; i < kValues; ++i) serializer->WriteLong(static_cast<long>(i));
        },
        [&] {
            plain->Rewind();
            for (unsigned int i = 0; i < kValues; ++i) plain->WriteLong(static_cast<long>(i));
        });
    comparison.Run(
        "1,000 ReadLong", "virtual 4-byte copies", 200,
        [&] {
            unsigned long sum = 0;
            long value = 0;
            Rewind(*serializer);
            for (unsigned int i = 0; i < kValues; ++i)
                sum += serializer->ReadLong(value) + static_cast<unsigned long>(value);
            total = total + sum;
        },
        [&] {
            unsigned long sum = 0;
            long value = 0;
            plain->Rewind();
            for (unsigned int i = 0; i < kValues; ++i)
                sum += plain->ReadLong(value) + static_cast<unsigned long>(value);
            total = total + sum;
        });

    std::vector<unsigned char> source(kMebibyte, 7), target(kMebibyte);
    comparison.Run(
        "WriteBuffer, 1 MiB", "memcpy", 20,
        [&] {
            Rewind(*serializer);
            serializer->WriteBuffer(source.data(), kMebibyte);
        },
        [&] {
            std::memcpy(target.data(), source.data(), kMebibyte);
            total = total + target[total % kMebibyte];
        });
}
