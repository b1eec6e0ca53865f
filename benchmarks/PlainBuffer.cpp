#include "benchmarks/PlainBuffer.h"

#include <cstring>
#include <vector>

namespace WindowsAgentCommon::bench {

namespace {

class PlainBuffer : public IPlainBuffer {
public:
    explicit PlainBuffer(unsigned int size) : storage_(size), bytes_(storage_.data()), size_(size) {}

    unsigned int WriteLong(long value) override {
        if (size_ - cursor_ < sizeof(value)) return 0;
        std::memcpy(bytes_ + cursor_, &value, sizeof(value));
        cursor_ += sizeof(value);
        return sizeof(value);
    }

    unsigned int ReadLong(long& value) override {
        if (size_ - cursor_ < sizeof(value)) return 0;
        std::memcpy(&value, bytes_ + cursor_, sizeof(value));
        cursor_ += sizeof(value);
        return sizeof(value);
    }

    void Rewind() override { cursor_ = 0; }

private:
    std::vector<unsigned char> storage_;
    unsigned char* bytes_;
    unsigned int size_;
    unsigned int cursor_ = 0;
};

}  // namespace

std::unique_ptr<IPlainBuffer> MakePlainBuffer(unsigned int size) {
    return std::make_unique<PlainBuffer>(size);
}

}  // namespace WindowsAgentCommon::bench
