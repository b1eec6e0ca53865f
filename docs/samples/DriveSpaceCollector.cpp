// A collector module for the sample agent: reports the free space of drives. docs/tutorial.md explains it.

#include "agent/sdk/Clock.h"
#include "agent/sdk/Collector.h"
#include "agent/sdk/MakeService.h"

#include "agent/sdk/Win32.h"

using namespace WindowsAgentCommon;

namespace {

class DriveSpaceCollector : public CorvaneAgent::Collector {
protected:
    void ReadSettings(CorvaneAgent::SettingsReader& settings) override {
        drives_ = settings.Text("Drives", "C");
        for (const char drive : drives_) {
            if (drive < 'A' || drive > 'Z') settings.Refuse("Drives", drives_, "are no letters from A to Z");
        }
        intervalMs_ = settings.Number("IntervalSeconds", 60, 1, 86'400) * 1000;
    }

    void Restore(const EnvironmentBlock& position) override {
        position.GetIntegerValue("Reports", reports_, 0U);  // goes on counting where it was
    }

    Progress Collect() override {
        const std::int64_t now = CorvaneAgent::SteadyMilliseconds();
        if (next_ != 0 && now < next_) return Progress::kNothing;
        for (const char drive : drives_) {
            if (!report(drive)) return Progress::kNothing;  // the agent is stopping
        }
        next_ = now + intervalMs_;
        return Progress::kNothing;
    }

    void SavePosition(EnvironmentBlock& position) const override {
        position.SetIntegerValue("Reports", reports_);
    }

private:
    bool report(char drive) {
        const std::string root = std::string(1, drive) + ":\\";
        ULARGE_INTEGER free;
        ULARGE_INTEGER total;
        if (!::GetDiskFreeSpaceExA(root.c_str(), &free, &total, nullptr)) {
            CountDamaged("drive " + root, "its free space cannot be read");
            return true;
        }
        const bool low = free.QuadPart < total.QuadPart / 10;
        const std::shared_ptr<IPayload> payload = NewPayload();
        AddHeader(*payload, GetPriority(low ? 4 : 6), CorvaneAgent::SystemMilliseconds(), "");
        AddText(*payload, "Source", "DriveSpace");
        AddText(*payload, "Drive", root);
        AddInteger(*payload, "FreeBytes", static_cast<std::int64_t>(free.QuadPart));
        AddInteger(*payload, "TotalBytes", static_cast<std::int64_t>(total.QuadPart));
        AddInteger(*payload, "Report", reports_ + 1);
        if (!Emit(payload)) return false;
        ++reports_;
        return true;
    }

    std::string drives_;
    std::int64_t intervalMs_ = 0;
    std::int64_t next_ = 0;  // steady ms; 0: at once
    unsigned int reports_ = 0;
};

}  // namespace

extern "C" __declspec(dllexport)
    ACE_Service_Object* _make_DriveSpaceCollector(ACE_Service_Object_Exterminator* exterminator) {
    return CorvaneAgent::MakeService<DriveSpaceCollector>(exterminator);
}
