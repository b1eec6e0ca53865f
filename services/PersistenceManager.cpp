#include "services/PersistenceManager.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PathText.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "foundation/Path.h"
#include "logging/ModuleReference.h"
#include "logging/ProcessEnd.h"
#include "services/MakeService.h"
#include "services/RecordWriter.h"

#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

class PersistentRecord final : public IPersistentRecord {
public:
    PersistentRecord(std::shared_ptr<detail::RecordWriter> writer, std::string name, std::wstring file)
        : writer_(std::move(writer)), name_(std::move(name)), file_(std::move(file)) {}

    std::string GetName() const override { return name_; }

    unsigned long Load(EnvironmentBlock& block) override {
        std::shared_ptr<const std::string> bytes;
        const unsigned long error = writer_->Get(file_, bytes);
        if (error == ERROR_SUCCESS) return detail::UnpackRecord(*bytes, block);
        block = EnvironmentBlock();
        return error;
    }

    unsigned long Save(const EnvironmentBlock& block) override {
        const auto bytes = std::make_shared<std::string>();
        const unsigned long error = detail::PackRecord(block, *bytes);
        return error != ERROR_SUCCESS ? error : writer_->Put(file_, name_, bytes);
    }

    unsigned long Remove() override { return writer_->Put(file_, name_, nullptr); }

private:
    const std::shared_ptr<detail::RecordWriter> writer_;
    const std::string name_;
    const std::wstring file_;
};

std::wstring BasePath(const EnvironmentBlock& settings) {
    std::string path;
    if (!EnvironmentBlockHelper(settings.Entries()).GetStringValue("BasePath", path, ""))
        return detail::VerbatimPath(CacheFile(L"Persistence"));
    return detail::VerbatimPath(FromUTF8(path));
}

}  // namespace

PersistenceManager::PersistenceManager() : writer_(std::make_shared<detail::RecordWriter>()) {}

PersistenceManager::~PersistenceManager() { PersistenceManager::Shutdown(); }

InitializeResult PersistenceManager::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    const std::wstring folder = NormalizePath(BasePath(settings), true);
    const unsigned long error = CreateDirectoryRecursive(folder);
    if (error != ERROR_SUCCESS)
        throw InitializationException(
            __FILE__, __FUNCTION__, __LINE__,
            "The folder of records " + ToUTF8(folder) + " cannot be made: " + LastError(error));
    DeleteDirectoryContents(folder, L"*.record.tmp");
    auto module = std::make_unique<CorvaneLogger::detail::ModuleReference>();
    writer_->Open(folder);
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1) != 0) {
        writer_->Close();
        writer_->Run();  // in place of the thread: somebody may have saved or asked for a flush meanwhile
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The thread that writes records cannot be started");
    }
    module_ = std::move(module);
    SetInitialized(true);
    return InitializeResult::kDone;
}

void PersistenceManager::Shutdown() {
    if (!IsInitialized()) return;
    SetInitialized(false);
    const auto module = std::move(module_);  // given back last
    writer_->Close();
    // At the end of the process the system has ended the thread already.
    if (!CorvaneLogger::detail::ProcessIsEnding()) wait();
}

int PersistenceManager::svc() {
    writer_->Run();
    return 0;
}

void PersistenceManager::GetStatus(EnvironmentBlock& status) const {
    const detail::RecordWriter::Status now = writer_->GetStatus();
    status.SetIntegerValue("RecordsWaiting", static_cast<unsigned long>(now.records));
    status.SetIntegerValue("BytesWaiting", static_cast<unsigned long>(now.bytes));
    status.SetIntegerValue("LastError", now.error);
}

unsigned long PersistenceManager::OpenRecord(const std::string& name,
                                             std::shared_ptr<IPersistentRecord>& out) {
    out.reset();
    if (name.empty()) return ERROR_INVALID_NAME;
    if (!IsInitialized()) return ERROR_SERVICE_NOT_ACTIVE;
    std::wstring file = detail::RecordFileName(name);
    if (file.empty()) return ERROR_NOT_ENOUGH_MEMORY;  // the digest's library has no other reason
    out = std::make_shared<PersistentRecord>(writer_, name, std::move(file));
    return ERROR_SUCCESS;
}

unsigned long PersistenceManager::Flush() { return writer_->Flush(); }

extern "C" ACE_Service_Object* _make_PersistenceManager(ACE_Service_Object_Exterminator* exterminator) {
    return detail::MakeService<PersistenceManager>(exterminator);
}

}  // namespace WindowsAgentCommon
