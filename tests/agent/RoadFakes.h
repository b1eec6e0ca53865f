#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/ISender.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/road/Sink.h"
#include "tests/agent/Fakes.h"
#include "tests/support/ImportPatch.h"

#include <windows.h>

namespace CorvaneAgent::test {

using Lines = std::vector<std::string>;

inline LineBatch BatchOf(const Lines& lines) {
    LineBatch batch;
    for (const std::string& line : lines) batch.Add(line.data(), line.size());
    return batch;
}

inline void AddLinesOf(const LineBatch& batch, Lines& lines) {
    std::size_t start = 0;
    for (const std::size_t length : batch.lengths) {
        lines.push_back(batch.text.substr(start, length));
        start += length;
    }
}

/// "event 1000" and so on.
inline Lines Numbered(int first, int count) {
    Lines lines;
    for (int i = first; i < first + count; ++i) lines.push_back("event " + std::to_string(1000 + i));
    return lines;
}

/// Makes one of this program's writes of files fail, as on a full disk, with half of it done.
class HalfWrites {
public:
    explicit HalfWrites(int before) : patch_(nullptr, "WriteFile", &Write) { before_ = before; }

private:
    static BOOL WINAPI Write(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* place) {
        const auto write = reinterpret_cast<decltype(&Write)>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), "WriteFile")));
        if (before_-- != 0) return write(file, bytes, size, written, place);
        write(file, bytes, size / 2, written, place);
        ::SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    static inline int before_ = 0;
    WindowsAgentCommon::test::ImportPatch<decltype(Write)> patch_;
};

struct FakeDisk : FakeService<IDiskManager> {
    bool ReserveSpace(unsigned int, std::uint64_t bytes) override {
        const Guard guard(lock);
        if (used + bytes > capacity) return false;
        used += bytes;
        return true;
    }
    void ReleaseSpace(unsigned int, std::uint64_t bytes) override {
        const Guard guard(lock);
        used -= bytes;
    }
    const std::wstring& GetBasePath() const override { return base; }
    void GetStatus(EnvironmentBlock& status) const override {
        status.SetIntegerValue("CapacityBytes", capacity);
    }

    ACE_Thread_Mutex lock;
    std::uint64_t used = 0, capacity = 1U << 30;
    std::wstring base;
};

/// A payload of one text.
struct FakePayload : IPayload {
    explicit FakePayload(std::string what = "") : text(std::move(what)) {}
    bool AddField(IPayloadProfile&, const std::string&, const PayloadValue&) override { return false; }
    void AddField(unsigned int, const PayloadField& field, unsigned int) override {
        text = boost::get<std::string>(field.second);
    }
    void Accept(IPayloadVisitor& visitor) const override { visitor.Visit(1, {kPayloadText, text}, 0); }
    std::size_t GetFieldCount() const override { return 1; }
    std::size_t GetSize() const override { return text.size(); }
    ACE_Message_Block* GetMessageBlock() const override { return nullptr; }
    void Clear() override { text.clear(); }
    std::shared_ptr<IPayload> Clone() const override { return std::make_shared<FakePayload>(text); }
    std::string text;
};

inline std::shared_ptr<IPayload> PayloadOf(const std::string& text) {
    return std::make_shared<FakePayload>(text);
}

/// Renders a payload's text; "damaged" throws, and "large" as long as there is no memory.
struct FakeBuilder : IPayloadBuilder {
    void BuildPayloadString(IPayload& payload, std::string& out) override {
        out = dynamic_cast<FakePayload&>(payload).text;
        if (out == "damaged") throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__, out);
        if (out == "large" && scarce-- > 0) throw std::bad_alloc();
        if (out.back() == '7') ::SwitchToThread();  // so that workers overtake each other
    }
    static inline std::atomic<int> scarce{0};  // so many attempts find no memory
};

struct FakeFactory : FakeService<IPayloadFactory> {
    void RegisterField(const std::string&, const std::int64_t&, unsigned int&) override {}
    bool FindField(const std::string&, const std::int64_t&, unsigned int&) override { return false; }
    bool GetFieldName(unsigned int, std::string&) override { return false; }
    void CreatePayload(std::shared_ptr<IPayload>& out) override { out = PayloadOf(""); }
    bool ReadPayload(const ACE_Message_Block*, std::shared_ptr<IPayload>&) override { return false; }
    void CreatePayloadProfile(std::shared_ptr<IPayloadProfile>&) override {}
    bool CreatePayloadBuilder(const std::string& name, std::shared_ptr<IPayloadBuilder>& out) override {
        out = std::make_shared<FakeBuilder>();
        return name == "SyslogPayloadBuilder";
    }
    void CreateLegacyPayloadProfile(std::shared_ptr<IPayloadProfile>&) override {}
};

/// A sender whose queue the test empties, and whose connection it makes and breaks.
class FakeSender : public ISender {
public:
    unsigned long Open() override { return 0; }
    bool Send(const char* data, std::size_t size) override {
        const Guard guard(lock_);
        (automatic_ ? received_ : queue_).emplace_back(data, size);
        return true;
    }
    ConnectionState GetState() const override {
        const Guard guard(lock_);
        ++asked_;
        return connected_ ? ConnectionState::kConnected : ConnectionState::kConnecting;
    }
    std::string GetTarget() const override { return "tcp://test:1"; }
    std::size_t GetQueuedBytes() const override {
        const Guard guard(lock_);
        std::size_t bytes = 0;
        for (const std::string& line : queue_) bytes += line.size();
        return bytes;
    }
    void GetStatus(EnvironmentBlock&) const override {}
    unsigned int GetLossCount() const override {
        const Guard guard(lock_);
        return losses_;
    }
    void Close(unsigned int) override {
        const Guard guard(lock_);
        queue_.clear();
    }

    /// Whether lines arrive without Deliver.
    void Connect(bool automatic) {
        const Guard guard(lock_);
        connected_ = true;
        automatic_ = automatic;
    }
    void Disconnect() {
        const Guard guard(lock_);
        connected_ = automatic_ = false;
    }
    /// Breaks the connection, with what is queued and the last lines of what seemed to have arrived.
    void Lose(std::size_t inFlight) {
        const Guard guard(lock_);
        connected_ = automatic_ = false;
        ++losses_;
        queue_.clear();
        received_.resize(received_.size() - std::min(inFlight, received_.size()));
    }
    void Deliver() {
        const Guard guard(lock_);
        received_.insert(received_.end(), queue_.begin(), queue_.end());
        queue_.clear();
    }
    Lines Received() const {
        const Guard guard(lock_);
        return received_;
    }
    /// Until its state is asked for again, as the feeder does with lines in hand.
    bool WaitUntilAsked() {
        const auto asked = [this] {
            const Guard guard(lock_);
            return asked_;
        };
        return Until([&, before = asked()] { return asked() != before; });
    }
    bool WaitForQueue() {
        return Until([this] { return GetQueuedBytes() > 0; });
    }
    bool WaitForLast(const std::string& line) {
        return Until([&] {
            const Lines received = Received();
            return !received.empty() && received.back() == line;
        });
    }
    bool WaitFor(std::size_t count) {
        return Until([&] { return Received().size() >= count; });
    }

private:
    mutable ACE_Thread_Mutex lock_;
    bool connected_ = false, automatic_ = false;
    unsigned int losses_ = 0;
    mutable unsigned int asked_ = 0;
    Lines queue_, received_;
};

/// A number of a status block, 0 where it is missing.
inline std::uint64_t Value(const EnvironmentBlock& status, const std::string& name) {
    std::uint64_t value = 0;
    status.GetIntegerValue(name, value, 0);
    return value;
}

}  // namespace CorvaneAgent::test
