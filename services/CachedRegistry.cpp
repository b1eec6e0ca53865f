#include "services/CachedRegistry.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "foundation/Clock.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {
namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

constexpr std::size_t kMaxValueBytes = 1024 * 1024;  // the registry's own limit
constexpr std::size_t kOverhead = 128;               // of an answer, about
constexpr std::size_t kMaxWatches = 256;             // two handles each

CorvaneLogger::ALogger& logger() { return CorvaneLogger::CV_Logger::Logger("Code.RegistryCache"); }

// What concerns one key or value only. Anything else means that the machine's registry cannot be asked.
bool IsAnswer(unsigned long error) {
    switch (error) {
        case ERROR_SUCCESS:
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_ACCESS_DENIED:
        case ERROR_INVALID_PARAMETER:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_FILENAME_EXCED_RANGE:
        case ERROR_MORE_DATA:
        case ERROR_KEY_DELETED:
            return true;
        default:
            return false;
    }
}

}  // namespace

unsigned long Aborted() {
    ::SetLastError(ERROR_OPERATION_ABORTED);
    return ERROR_OPERATION_ABORTED;
}

// The right to ask the machine, held by one caller at a time.
class CachedRegistry::Turn {
public:
    explicit Turn(CachedRegistry& registry) : registry_(registry) {}
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        const Guard guard(registry_.lock_);
        registry_.isAsking_ = false;
        ::SetEvent(registry_.idle_.Get());
    }

private:
    CachedRegistry& registry_;
};

CachedRegistry::CachedRegistry(std::shared_ptr<RegistryCacheState> state, const std::wstring& host)
    : state_(std::move(state)), host_(host), idle_(::CreateEventW(nullptr, TRUE, TRUE, nullptr)) {}

CachedRegistry::~CachedRegistry() { DropAllLocked(); }

unsigned long CachedRegistry::Read(const std::wstring& key, const std::wstring* name, RegistryValue& out) {
    if (key.find(L'\0') != std::wstring::npos || (name && name->find(L'\0') != std::wstring::npos))
        return ERROR_INVALID_PARAMETER;
    const Question question = {key, name, FoldCase(key), name ? L"=" + FoldCase(*name) : std::wstring()};
    const std::int64_t end = SteadyTicks() + state_->waitMilliseconds * kTicksPerMillisecond;
    std::uint32_t generation = 0;
    for (;;) {
        {
            const Guard guard(lock_);
            unsigned long error = ERROR_SUCCESS;
            if (state_->isStopping) return Aborted();
            if (FindLocked(question, out, error)) return error;
            if (error_ != 0 && (isAsking_ || SteadyTicks() < retryAt_)) return error_;
            if (!isAsking_) {
                isAsking_ = true;
                ::ResetEvent(idle_.Get());
                generation = generation_;
                break;
            }
        }
        const std::int64_t left = (end - SteadyTicks()) / kTicksPerMillisecond;
        if (left <= 0 || ::WaitForSingleObject(idle_.Get(), static_cast<DWORD>(left)) != WAIT_OBJECT_0)
            return ERROR_TIMEOUT;
    }
    const Turn turn(*this);
    Answer answer = {};
    std::unique_ptr<RegistryKey> watch;
    const unsigned long error = Ask(question, answer, watch);
    Remember(error);
    if (error != ERROR_SUCCESS) return error;
    const Guard guard(lock_);
    if (state_->isStopping) return Aborted();
    if (generation == generation_) StoreLocked(question, answer, std::move(watch));
    if (answer.error == ERROR_SUCCESS) out = std::move(answer.value);
    return answer.error;
}

bool CachedRegistry::FindLocked(const Question& question, RegistryValue& out, unsigned long& error) {
    const auto key = keys_.find(question.foldedKey);
    if (key == keys_.end()) return false;
    if (key->second.watch && key->second.watch->HasChanged()) {
        DropLocked(key);
        return false;
    }
    const auto answer = key->second.answers.find(question.foldedName);
    if (answer == key->second.answers.end()) return false;
    if (SteadyTicks() - answer->second.readAt >= state_->refreshTicks) return false;
    error = answer->second.error;
    if (error == ERROR_SUCCESS) out = answer->second.value;
    return true;
}

// Returns an error of the machine; an error of the value is part of the answer.
unsigned long CachedRegistry::Ask(const Question& question, Answer& answer,
                                  std::unique_ptr<RegistryKey>& watch) {
    if (!connection_) {
        const unsigned long error = state_->source->Connect(host_, connection_);
        if (error != ERROR_SUCCESS) return error;
    }
    answer.readAt = SteadyTicks();
    std::unique_ptr<RegistryKey> key;
    answer.error = connection_->Open(question.key, key);
    if (answer.error == ERROR_SUCCESS) {
        const bool isWatched = key->Watch();  // before it is read, so that no change goes unnoticed
        answer.error = Query(question, *key, answer.value);
        if (isWatched) watch = std::move(key);
    }
    if (answer.error != ERROR_SUCCESS) answer.value = {};  // of the attempt; it would be kept
    if (IsAnswer(answer.error)) return ERROR_SUCCESS;
    connection_.reset();
    return answer.error;
}

unsigned long CachedRegistry::Query(const Question& question, RegistryKey& key, RegistryValue& out) const {
    if (question.name) return key.Query(*question.name, kMaxValueBytes, out);
    std::vector<std::wstring> names;
    const unsigned long error = key.GetSubkeys(kMaxValueBytes, names);
    if (error != ERROR_SUCCESS) return error;
    const auto hasZero = [](const std::wstring& text) { return text.find(L'\0') != std::wstring::npos; };
    names.erase(std::remove_if(names.begin(), names.end(), hasZero), names.end());
    out = ValueOf(names);
    return ERROR_SUCCESS;
}

void CachedRegistry::StoreLocked(const Question& question, const Answer& answer,
                                 std::unique_ptr<RegistryKey> watch) {
    const std::size_t cost = kOverhead + answer.value.bytes.size() +
                             (question.foldedKey.size() + question.foldedName.size()) * sizeof(wchar_t);
    const auto known = keys_.find(question.foldedKey);
    if (known != keys_.end()) {  // what is replaced takes no part in the limit
        const auto old = known->second.answers.find(question.foldedName);
        if (old != known->second.answers.end()) state_->bytes -= std::exchange(old->second.cost, 0);
    }
    if (state_->bytes + cost > state_->maxBytes) DropAllLocked();
    if (state_->bytes + cost > state_->maxBytes) return;
    Key& key = keys_[question.foldedKey];
    Answer& stored = key.answers[question.foldedName];
    stored.error = answer.error;
    stored.value = answer.value;
    stored.readAt = answer.readAt;
    stored.cost = cost;
    state_->bytes += cost;
    if (watch && !key.watch && watches_ < kMaxWatches) {
        key.watch = std::move(watch);
        ++watches_;
    }
}

void CachedRegistry::Remember(unsigned long error) {
    if (host_.empty()) return;  // there is nothing to wait for in a connection to this machine
    unsigned long before = 0;
    {
        const Guard guard(lock_);
        before = std::exchange(error_, error);
        retryAt_ = SteadyTicks() + state_->retryTicks;
    }
    const auto seconds = static_cast<unsigned int>(state_->retryTicks / kTicksPerSecond);
    if (error != 0 && before == 0)
        logger().Warn("The registry of %ls cannot be read; trying again every %u seconds. Reason: %s",
                      host_.c_str(), seconds, LastError(error).c_str());
    else if (error != 0)
        logger().Debug("The registry of %ls still cannot be read. Reason: %s", host_.c_str(),
                       LastError(error).c_str());
    else if (before != 0)
        logger().Info("The registry of %ls can be read again", host_.c_str());
}

void CachedRegistry::DropLocked(std::map<std::wstring, Key>::iterator key) {
    for (const auto& [name, answer] : key->second.answers) state_->bytes -= answer.cost;
    if (key->second.watch) --watches_;
    keys_.erase(key);
}

void CachedRegistry::DropAllLocked() {
    while (!keys_.empty()) DropLocked(keys_.begin());
}

unsigned long CachedRegistry::GetString(const std::wstring& key, const std::wstring& name,
                                        std::wstring& out) {
    RegistryValue value;
    const unsigned long error = Read(key, &name, value);
    if (error != ERROR_SUCCESS) return error;
    std::wstring text;
    const unsigned long wrong = TextOf(value, text);
    if (wrong != ERROR_SUCCESS) return wrong;
    out = value.type == REG_EXPAND_SZ && host_.empty() ? ExpandEnvironment(text) : text;
    return ERROR_SUCCESS;
}

unsigned long CachedRegistry::GetInteger(const std::wstring& key, const std::wstring& name,
                                         std::uint32_t& out) {
    RegistryValue value;
    const unsigned long error = Read(key, &name, value);
    return error != ERROR_SUCCESS ? error : IntegerOf(value, out);
}

unsigned long CachedRegistry::GetStrings(const std::wstring& key, const std::wstring& name,
                                         std::vector<std::wstring>& out) {
    RegistryValue value;
    const unsigned long error = Read(key, &name, value);
    return error != ERROR_SUCCESS ? error : TextsOf(value, out);
}

unsigned long CachedRegistry::GetBinary(const std::wstring& key, const std::wstring& name,
                                        std::vector<unsigned char>& out) {
    RegistryValue value;
    const unsigned long error = Read(key, &name, value);
    if (error == ERROR_SUCCESS) out = std::move(value.bytes);
    return error;
}

unsigned long CachedRegistry::GetSubkeys(const std::wstring& key, std::vector<std::wstring>& out) {
    RegistryValue value;
    const unsigned long error = Read(key, nullptr, value);
    return error != ERROR_SUCCESS ? error : TextsOf(value, out);
}

unsigned long CachedRegistry::GetSecurityMessageFiles(const std::wstring& source,
                                                      std::vector<std::wstring>& out) {
    if (source.empty() || source.find(L'\\') != std::wstring::npos) return ERROR_INVALID_PARAMETER;
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Security\\" + source;
    const std::wstring name = L"EventMessageFile";
    RegistryValue value;
    unsigned long error = Read(key, &name, value);
    std::wstring text, systemRoot;
    if (error == ERROR_SUCCESS) error = TextOf(value, text);
    if (error != ERROR_SUCCESS) return error;
    if (host_.empty()) {
        out = SplitPaths(ExpandEnvironment(text));
        return ERROR_SUCCESS;
    }
    std::vector<std::wstring> paths = SplitPaths(text);
    if (text.find(L'%') != std::wstring::npos)
        error = GetString(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", L"SystemRoot", systemRoot);
    if (error != ERROR_SUCCESS) return error;
    for (std::wstring& path : paths) path = RemotePath(path, host_, systemRoot);
    out = std::move(paths);
    return ERROR_SUCCESS;
}

void CachedRegistry::Invalidate() {
    const Guard guard(lock_);
    DropAllLocked();
    ++generation_;
}

void CachedRegistry::DropOld() {
    const Guard guard(lock_);
    const std::int64_t now = SteadyTicks();
    for (auto key = keys_.begin(); key != keys_.end();) {
        const auto current = key++;
        auto& answers = current->second.answers;
        for (auto answer = answers.begin(); answer != answers.end();) {
            const auto candidate = answer++;
            if (now - candidate->second.readAt < state_->refreshTicks) continue;
            state_->bytes -= candidate->second.cost;
            answers.erase(candidate);
        }
        if (answers.empty()) DropLocked(current);
    }
}

void CachedRegistry::Wake() noexcept {
    const Guard guard(lock_);  // behind whoever took the turn without having seen the end
    ::SetEvent(idle_.Get());
}

void CachedRegistry::Count(unsigned int& values, unsigned int& unreachable) const {
    const Guard guard(lock_);
    for (const auto& [name, key] : keys_) values += static_cast<unsigned int>(key.answers.size());
    if (error_ != 0) ++unreachable;
}

}  // namespace WindowsAgentCommon::detail
