#pragma once

#include <cstdint>
#include <string>

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Guard_T.h>

#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/road/Sink.h"
#include "agent/sdk/Handle.h"

namespace CorvaneAgent {

/// Appends each line and a line feed to a file. A carriage return or line feed inside a line becomes the two
/// characters \r or \n, so that no event can pass for two.
///
/// A batch is one write of the system. One that fails, wholly or in part, is taken back to the last whole
/// line and tried again every quarter of a second until it succeeds or Cancel is called; the log gets one
/// line when that begins and one when it ends. What a killed process left half written is cut off at the next
/// start. A batch that is written survives the process, not a failure of power.
///
/// Others may read the file meanwhile. Before it would exceed maxBytes it is renamed to its name and ".1",
/// after
/// ".1" became ".2" and so on; the oldest is deleted. While that fails the file grows on.
class FileSink : public Sink {
public:
    struct Options {
        std::string name;            ///< Of the destination, for the log.
        std::wstring path;           ///< Its folder is made if need be.
        std::uint64_t maxBytes = 0;  ///< 0: never rolled. A batch larger than that makes a larger file.
        unsigned int keep = 1;       ///< Rolled files, at least 1.
    };

    FileSink(const Options& options, WindowsAgentCommon::Log log);

    void Start() override {}  ///< Nothing: the file is opened by the first Write.
    bool Write(const LineBatch& batch) override;
    void Tick(std::int64_t) override {}  ///< Nothing.
    void Cancel() override;
    void Stop(std::int64_t) override {}  ///< Nothing.
    void AddStatus(const std::string& prefix, WindowsAgentCommon::EnvironmentBlock& status) const override;

private:
    using Guard = ACE_Guard<ACE_Thread_Mutex>;

    void compose(const LineBatch& batch);
    unsigned long writeOut();
    unsigned long open();
    unsigned long repairEnd();
    unsigned long cutAt(std::uint64_t size);
    void rollIfFull(std::size_t more);
    unsigned long rename();
    void noteState(unsigned long error);

    const Options options_;
    WindowsAgentCommon::Log log_;

    // Write's own.
    Handle file_;
    std::uint64_t size_ = 0;  // of the whole lines in the file
    bool torn_ = false;       // there may be more behind them
    std::string out_;
    std::int64_t rollAgain_ = 0;  // ms; not before
    bool rollFails_ = false;

    mutable ACE_Thread_Mutex lock_;  // guards what follows
    ACE_Condition_Thread_Mutex changed_;
    bool cancelled_ = false;
    unsigned long error_ = 0;  // of the last write
    std::uint64_t sent_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t lastSent_ = 0;  // ms since 1970
};

}  // namespace CorvaneAgent
