#pragma once

#include <stdexcept>
#include <streambuf>

namespace WindowsAgentCommon::test {

/// A stream buffer over bytes where they lie, so that reading past them is a fault. fails: it throws at their
/// end.
class ByteSource : public std::streambuf {
public:
    ByteSource(const char* bytes, std::size_t size, bool fails = false) : fails_(fails) {
        char* const begin = const_cast<char*>(bytes);
        setg(begin, begin, begin + size);
    }

protected:
    int_type underflow() override { return fails_ ? throw std::runtime_error("gone") : traits_type::eof(); }

private:
    bool fails_;
};

}  // namespace WindowsAgentCommon::test
