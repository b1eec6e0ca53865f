#include "agent/host/Options.h"

#include "WindowsAgentCommon/CommandLine.h"

#include <utility>

namespace CorvaneAgent {

using Action = Options::Action;

namespace {

constexpr std::pair<const wchar_t*, Action> kActions[] = {
    {L"h", Action::kHelp},    {L"V", Action::kVersion},   {L"c", Action::kCheck}, {L"s", Action::kService},
    {L"i", Action::kInstall}, {L"u", Action::kUninstall}, {L"b", Action::kStart}, {L"e", Action::kStop},
};

class Switches : public WindowsAgentCommon::CommandLine {
protected:
    ACE_String_Base<wchar_t> GetOptionString() override { return L":hVcsiube1r:n:"; }
    void OnInitialize(int, wchar_t** const) override {
        AddExpectedParam(L"h", L"help", false, false);
        AddExpectedParam(L"V", L"version", false, false);
        AddExpectedParam(L"c", L"check-config", false, false);
        AddExpectedParam(L"s", L"service", false, false);
        AddExpectedParam(L"i", L"install", false, false);
        AddExpectedParam(L"u", L"uninstall", false, false);
        AddExpectedParam(L"b", L"start", false, false);
        AddExpectedParam(L"e", L"stop", false, false);
        AddExpectedParam(L"1", L"once", false, false);
        AddExpectedParam(L"r", L"root", false, true);
        AddExpectedParam(L"n", L"name", false, true);
    }
};

}  // namespace

bool ParseOptions(int argc, wchar_t** argv, Options& options, std::string& error) {
    Switches switches;
    switches.Initialize(argc, argv);
    if (!switches.IsInitialized()) {
        error = "an unknown switch, or a switch without its value; try --help";
        return false;
    }
    int actions = 0;
    for (const auto& [name, action] : kActions) {
        if (!switches.IsParamPresent(name)) continue;
        options.action = action;
        ++actions;
    }
    if (actions > 1) {
        error = "more than one thing to do; try --help";
        return false;
    }
    options.once = switches.IsParamPresent(L"1");
    if (switches.IsParamPresent(L"r")) options.root = switches.GetParam(L"r").back();
    if (switches.IsParamPresent(L"n")) options.serviceName = switches.GetParam(L"n").back();
    if (options.serviceName.empty() || options.serviceName.size() > 256 ||
        options.serviceName.find_first_of(L"/\\\"") != std::wstring::npos) {
        error = "the name of a Windows service has 1 to 256 characters, none of them / \\ or \"";
        return false;
    }
    return true;
}

const char* HelpText() {
    return "corvane-agent: reads events, turns them into syslog lines, and sends them\n"
           "\n"
           "  corvane-agent [--root DIR] [--once]     runs on this console until Ctrl+C\n"
           "  corvane-agent --check-config            reads the configuration and says what is wrong with "
           "it\n"
           "  corvane-agent --install | --uninstall   registers the Windows service, or removes it\n"
           "  corvane-agent --start | --stop          starts or stops the Windows service\n"
           "  corvane-agent --help | --version\n"
           "\n"
           "  -r, --root DIR     the agent's folder, with bin, cache, config, logs; by default the one "
           "above\n"
           "                     the program's own\n"
           "  -1, --once         ends when all there is has been read and sent, or nothing can be\n"
           "                     sent for 5 seconds\n"
           "  -n, --name NAME    of the Windows service; CorvaneAgent by default\n"
           "  -s, --service      what the service control manager starts\n"
           "\n"
           "Exit codes: 0 success, 2 wrong use, 3 configuration, 4 a component failed, 5 service control,\n"
           "6 shut-down was not clean, 7 another agent runs on this folder, 70 unhandled fault.\n";
}

}  // namespace CorvaneAgent
