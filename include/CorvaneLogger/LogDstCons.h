#pragma once

#include <cstdio>

#include "CorvaneLogger/LogDst.h"

namespace CorvaneLogger {

/// Log lines on the standard output, each with its time stamp, written through the C runtime's stream: they
/// keep their order with what the host prints there. The stream turns line feeds into its own line ends, and
/// is flushed twice a second by the registry's thread.
class CORVANE_API LogDstCons : public LogDst {
public:
    LogDstCons(const std::string& name, const std::string& cls);

    void log(int level, const char* category, const char* line, unsigned int length,
             const char* message) override;
    void flush(bool closeIfIdle) override;

private:
    std::FILE* stream_;
};

}  // namespace CorvaneLogger
