// The modules of the configuration manager's tests: MODULE is the DLL's name, KIND what it makes.

#include "WindowsAgentCommon/IConfigurationManager.h"

#include <ace/Service_Object.h>

#include <stdexcept>

namespace {

using namespace WindowsAgentCommon;

enum Kind { kManager, kOther, kNothing, kThrows };

struct Manager : ACE_Service_Object, IConfigurationManager {
    void Start() override { calls += "Start() "; }
    void Start(const std::string& source, bool flag) override {
        if (source == "bad") throw std::runtime_error("bad source");
        calls += "Start(" + source + (flag ? ",1) " : ",0) ");
    }
    void Run() override { calls += "Run() "; }
    void Stop() override {}
    bool Reload() override { return false; }
    std::string GetSource() const override { return calls; }
    std::string GetConfigurationVersion() const override { return ""; }
    std::string GetLastError() const override { return ""; }
    void GetSettings(EnvironmentBlock&) const override {}
    void GetServices(std::vector<ServiceConfig>&) const override {}
    bool GetService(const std::string&, ServiceConfig&) const override { return false; }

    std::string calls;
};

}  // namespace

#define CREATION_FUNCTION(name) CREATION_FUNCTION_OF(name)
#define CREATION_FUNCTION_OF(name) _make_##name

extern "C" __declspec(dllexport) ACE_Service_Object* CREATION_FUNCTION(MODULE)(void*) {
    if (KIND == kThrows) throw std::runtime_error("meant");
    if (KIND == kNothing) return nullptr;
    return KIND == kManager ? new Manager : new ACE_Service_Object;
}
