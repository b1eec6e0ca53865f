#include "agent/host/ComponentFactory.h"
#include "agent/host/ConfigurationCheck.h"
#include "agent/host/Options.h"
#include "agent/host/ServiceControl.h"
#include "agent/host/StateFile.h"
#include "agent/host/Takeover.h"

#include <gtest/gtest.h>

#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "agent/sdk/AlarmLadder.h"
#include "agent/sdk/IStoppable.h"
#include "agent/sdk/ServiceRegistration.h"

#include <windows.h>

namespace CorvaneAgent {
namespace {

using namespace WindowsAgentCommon;

/// Tells everything that happens to it, and to the factory, in one text.
class Story : public IComponentFactoryHook {
public:
    std::string text;

    std::string GetHookName() const override { return "story"; }
    void OnFactoryInitializationStart() override { text += "("; }
    void OnStaticConfigurationInitialized(const std::string& name) override { text += " c:" + name; }
    void OnModuleInitialized(const std::string& name) override { text += " m:" + name; }
    void OnComponentInitializeSuccess(const std::string& name) override { text += " ok:" + name; }
    void OnComponentInitializeFail(const std::string& name) override { text += " fail:" + name; }
    void OnComponentInitializeDefer(const std::string& name) override { text += " defer:" + name; }
    void OnComponentInitializeBadDependency(const std::string& name) override { text += " bad:" + name; }
    void OnFactoryInitializationEnd(ComponentFactoryResultCode result) override {
        text += " )" + std::to_string(result);
    }
    void OnBeforeComponentShutdown(const std::string& name) override { text += " <" + name; }
    void OnAfterComponentShutdown(const std::string& name, ComponentFactoryResultCode result) override {
        text += " >" + name + std::to_string(result);
    }
};

/// A component that depends, defers and fails as it is told.
class Part : public ServiceComponentBase<IDeviceService, ACE_Service_Object>, public IStoppable {
public:
    Part(const std::vector<std::string>& dependencies, int defers, const std::string& failsAt)
        : failure(failsAt), dependencies_(dependencies), defers_(defers) {}
    void GetDependencies(std::vector<std::string>& services) const override { services = dependencies_; }
    InitializeResult Initialize(const EnvironmentBlock& settings) override {
        settings.GetArrayValue("Value", values);
        if (defers_ > 0) return --defers_, InitializeResult::kDefer;
        failAt("initialize");
        return InitializeResult::kDone;
    }
    void Start() override {
        failAt("start");
        for (const std::string& value : values) failAt(value);
        runs = true;
    }
    void BeginStop(std::int64_t) override { ends += '?'; }
    void Shutdown() override {
        ends += '.';
        runs = false;
        failAt("shutdown");
    }

    std::vector<std::string> values;
    std::string failure;  // the point, or the value, at which it fails
    bool runs = false;
    inline static std::string ends;  // of all: "?" for each that is told to begin it, "." for each shutdown

private:
    void failAt(const std::string& point) const {
        if (!point.empty() && failure == point)
            throw KORException(__FILE__, __FUNCTION__, __LINE__, "told to");
    }
    std::vector<std::string> dependencies_;
    int defers_;
};

class Parts : public IComponentFactoryOverrideHook {
public:
    std::map<std::string, std::unique_ptr<Part>> parts;

    bool OverrideModule(const std::string&, std::string&) override { return false; }
    bool OverrideSettings(const std::string&, EnvironmentBlock&) override { return false; }
    bool OverrideComponent(const std::string& name, IServiceComponent*& component) override {
        const auto found = parts.find(name);
        if (found != parts.end()) component = found->second.get();
        return found != parts.end();
    }
};

ServiceConfig service(const std::string& name, const std::string& module = "", const std::string& made = "") {
    return ServiceConfig(name, module, made, "");
}

TEST(AgentComponentFactory, OrdersDefersAndFailsAsTheComponentsSay) {
    struct Given {
        const char* name;
        std::vector<std::string> dependencies;
        int defers;
        const char* failure;
    };
    struct Row {
        const char* failed;
        const char* story;  // once all are made; ")" and the result of the initialisation
        std::vector<Given> parts;
    };
    const Row rows[] = {
        {"", "ok:BB ok:AA )0 <AA >AA0 <BB >BB0", {{"AA", {"BB"}, 0, ""}, {"BB", {}, 0, ""}}},
        {"", "defer:AA ok:BB ok:AA )0 <AA >AA0 <BB >BB0", {{"AA", {}, 1, ""}, {"BB", {}, 0, ""}}},
        {"AA",
         "defer:AA ok:CC defer:AA bad:BB <CC >CC0 )5",
         {{"AA", {}, 9, ""}, {"BB", {"AA"}, 0, ""}, {"CC", {}, 0, ""}}},
        {"AA", "bad:AA bad:BB )3", {{"AA", {"BB"}, 0, ""}, {"BB", {"AA"}, 0, ""}}},
        {"BB", "bad:AA bad:BB )3", {{"AA", {"BB"}, 0, ""}, {"BB", {"No"}, 0, ""}}},
        {"BB", "ok:AA fail:BB <AA >AA0 )4", {{"AA", {}, 0, ""}, {"BB", {"AA"}, 0, "initialize"}}},
        {"BB", "ok:AA ok:BB <BB >BB0 <AA >AA0 )4", {{"AA", {}, 0, ""}, {"BB", {}, 0, "start"}}},
        {"", "ok:AA ok:BB )0 <BB >BB6 <AA >AA0", {{"AA", {}, 0, ""}, {"BB", {}, 0, "shutdown"}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.story);
        Parts parts;
        std::vector<ServiceConfig> services;
        std::string made = "(";
        for (const Given& given : row.parts) {
            made += std::string(" c:") + given.name + " m:" + given.name;
            parts.parts[given.name] = std::make_unique<Part>(given.dependencies, given.defers, given.failure);
            services.push_back(service(given.name));
        }
        Story story;
        ComponentFactory factory;
        factory.AddHook(&story);
        factory.SetOverrideHook(&parts);
        const ComponentFactoryResultCode result = factory.Initialize(services);
        EXPECT_NE(story.text.find(")" + std::to_string(result)), std::string::npos);
        EXPECT_EQ(factory.GetFailedComponent(), row.failed);
        EXPECT_EQ(factory.GetComponent("AA") != nullptr, result == kComponentFactorySuccess);
        if (result == kComponentFactorySuccess) {
            EXPECT_EQ(factory.Initialize(services), kComponentFactoryWrongState);
            factory.Shutdown();
        }
        EXPECT_EQ(story.text, made + " " + row.story);
    }
}

TEST(AgentComponentFactory, LoadsModulesAndRefusesNamesThatAreNoNames) {
    struct Row {
        const char *name, *module, *made;
        ComponentFactoryResultCode result;
    };
    const Row rows[] = {
        {"PayloadFactory", "", "", kComponentFactorySuccess},
        {"Renamed", "CorvaneCommon", "PayloadFactory", kComponentFactorySuccess},
        {"PayloadFactory", "NoSuchModule", "", kComponentFactoryModuleMissing},
        {"NoSuchService", "", "", kComponentFactoryModuleMissing},
        {"Manager", "AgentConfigManager", "AgentConfigManager", kComponentFactoryNotAComponent},
        {"", "", "", kComponentFactoryModuleMissing},
        {"Two Words", "", "", kComponentFactoryModuleMissing},
        {"Payload", "..\\evil", "PayloadFactory", kComponentFactoryModuleMissing},
        {"Payload", "", "PayloadFactory() \"\"\ndynamic", kComponentFactoryModuleMissing},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + row.module + " " + row.made);
        ComponentFactory factory;
        const ServiceRegistration registration(L"ComponentFactory_Dynamic_Service", factory);
        EXPECT_EQ(factory.Initialize({service(row.name, row.module, row.made)}), row.result);
        EXPECT_EQ(_getService(row.name) != nullptr, row.result == kComponentFactorySuccess);
        EXPECT_EQ(factory.Shutdown(), row.result == kComponentFactorySuccess ? kComponentFactorySuccess
                                                                             : kComponentFactoryWrongState);
        EXPECT_EQ(_getService(row.name), nullptr);
    }
    EXPECT_EQ(GetComponentFactory(), nullptr);
}

TEST(AgentTakeover, StartsStopsAndRestartsCollectorsOnly) {
    using Services = std::map<std::string, std::string>;  // the value of each one's setting
    const Services before = {{"AA", "1\n\n3"}, {"BB", "1"}, {"PayloadFactory", "1"}};
    const struct {
        const char* what;
        Services changes;  // "gone" for a service that is
        const char *done, *restart, *refused;
    } rows[] = {
        {"same", {}, "", "", ""},
        {"changed", {{"AA", "2"}}, " AA", "", ""},
        {"all changed", {{"AA", "2"}, {"BB", "2"}}, " AA BB", "", ""},
        {"gone and new", {{"AA", "gone"}, {"CC", "1"}}, " AA CC", "", ""},
        {"changed for the worse", {{"AA", "fails"}}, "", "", " AA: told to;"},
        {"new and bad", {{"CC", "fails"}}, "", "", " CC: told to;"},
        {"no collector", {{"PayloadFactory", "2"}}, "", " PayloadFactory", ""},
        {"a new one that is none", {{"DiskManager", ""}}, "", " DiskManager", ""},
    };
    const auto configure = [](const Services& services) {
        std::vector<ServiceConfig> configs;
        for (const auto& [name, value] : services) {
            if (value == "gone") continue;
            configs.push_back(service(name));
            configs.back().settings["Value"] = value;
        }
        return configs;
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Parts parts;
        for (const char* const name : {"AA", "BB", "CC"})
            parts.parts[name] = std::make_unique<Part>(std::vector<std::string>(), 0, "fails");
        ComponentFactory factory;
        factory.SetOverrideHook(&parts);
        std::vector<ServiceConfig> inForce = configure(before);
        ASSERT_EQ(factory.Initialize(inForce), kComponentFactorySuccess);
        EXPECT_EQ(parts.parts["AA"]->values, (std::vector<std::string>{"1", "", "3"}));
        Services wanted = row.changes;
        wanted.insert(before.begin(), before.end());
        Part::ends.clear();
        const Takeover takeover = TakeOverCollectors(factory, inForce, configure(wanted));
        EXPECT_EQ(takeover.done, row.done);
        EXPECT_EQ(takeover.restart, row.restart);
        EXPECT_EQ(takeover.refused, row.refused);
        const std::size_t gone = Part::ends.size() / 2;
        if (!*row.refused) {
            EXPECT_EQ(Part::ends, std::string(gone, '?') + std::string(gone, '.'));
        }
        Services expected, runs;
        for (const ServiceConfig& config : configure(*row.done ? wanted : before))
            expected[config.text1] = config.settings.at("Value");
        for (const ServiceConfig& config : inForce) runs[config.text1] = config.settings.at("Value");
        EXPECT_EQ(runs, expected);
        std::vector<std::string> names;
        factory.GetComponentNames(names);
        EXPECT_EQ(names.size(), runs.size());
        for (const auto& [name, part] : parts.parts) {
            EXPECT_EQ(part->runs, runs.count(name) == 1);
            EXPECT_EQ(factory.GetComponent(name) != nullptr, part->runs);
        }
        EXPECT_EQ(parts.parts["AA"]->values.front(), runs.count("AA") ? runs["AA"].substr(0, 1) : "1");
        EXPECT_EQ(factory.Shutdown(), kComponentFactorySuccess);
    }
}

TEST(AgentTakeover, TriesAgainWhatCouldNotEvenStartAsItWas) {
    Parts parts;
    Part& part = *(parts.parts["AA"] = std::make_unique<Part>(std::vector<std::string>(), 0, ""));
    ComponentFactory factory;
    factory.SetOverrideHook(&parts);
    std::vector<ServiceConfig> inForce = {service("AA")}, wanted = {service("AA")};
    ASSERT_EQ(factory.Initialize(inForce), kComponentFactorySuccess);
    wanted[0].settings["Value"] = "new";
    const struct {
        const char *failsAt, *done, *refused;
        bool again, runs;
    } rows[] = {
        {"initialize", "", " AA: told to; AA as it was: told to;", true, false},
        {"new", "", " AA: told to;", false, true},
        {"initialize", "", " AA: told to; AA as it was: told to;", true, false},
        {"", " AA", "", false, true},
    };
    for (const auto& row : rows) {
        part.failure = row.failsAt;
        const Takeover takeover = TakeOverCollectors(factory, inForce, wanted);
        EXPECT_EQ(takeover.done, row.done);
        EXPECT_EQ(takeover.refused, row.refused);
        EXPECT_EQ(takeover.again, row.again);
        EXPECT_EQ(part.runs, row.runs);
        EXPECT_EQ(inForce.size(), 1U);
    }
    EXPECT_EQ(factory.Shutdown(), kComponentFactorySuccess);
}

TEST(AgentOptions, ReadTheSwitches) {
    struct Row {
        std::vector<const wchar_t*> arguments;
        bool valid;
        Options::Action action;
        const wchar_t* root;
    };
    const Row rows[] = {
        {{}, true, Options::Action::kRun, L""},
        {{L"--root", L"C:\\A B", L"--once"}, true, Options::Action::kRun, L"C:\\A B"},
        {{L"--check-config", L"-rC:\\A"}, true, Options::Action::kCheck, L"C:\\A"},
        {{L"--install"}, true, Options::Action::kInstall, L""},
        {{L"--install", L"--stop"}, false, Options::Action::kRun, L""},
        {{L"--root"}, false, Options::Action::kRun, L""},
        {{L"--nonsense"}, false, Options::Action::kRun, L""},
        {{L"--name", L"a\"b"}, false, Options::Action::kRun, L""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments.size()));
        std::vector<std::wstring> texts = {L"corvane-agent"};
        for (const wchar_t* argument : row.arguments) texts.emplace_back(argument);
        std::vector<wchar_t*> arguments;
        for (std::wstring& text : texts) arguments.push_back(text.data());
        Options options;
        std::string error;
        ASSERT_EQ(ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options, error),
                  row.valid);
        EXPECT_EQ(error.empty(), row.valid);
        if (row.valid) {
            EXPECT_EQ(options.action, row.action);
            EXPECT_EQ(options.root, row.root);
        }
    }
}

TEST(AgentConfiguration, RefusesWhatTheStatusServerCannotUse) {
    const struct {
        const char *type, *name, *value;
        bool good;
    } rows[] = {
        {"UDP", "TargetPort", "99999", false},
        {"UDP", "TargetPort", "%CorvanePort%", true},
        {"UDP", "LogMonitor.Level", "abc", false},
        {"UDP", "LogMonitor.Level", "8", false},
        {"UDP", "LogMonitor.Levle", "4", false},
        {"UDP", "MaxPayloadSize", "99999", false},
        {"TCP", "MaxPayloadSize", "99999", true},
        {"UDP", "QueueLowWaterMark", "0", false},
        {"UDP", "QueueHighWaterMark", "", false},
        {"TCP", "LogMonitor.Socket.Framing", "None", false},
        {"UDP", "LogMonitor.Socket.Framing", "OctetCounting", true},
        {"TCP", "LogMonitor.Socket.SendTimeout", "0", false},
        {"TCP", "LogMonitor.Socket.SendTimeuot", "1", false},
        {"TCP", "LogMonitor.Socket.DiscardOnLoss", "T", false},
        {"UDP", "LogMonitor.Socket.BackoffMin", "30001", false},
        {"UDP", "LogMonitor.Socket.BackoffMin", "30000", true},
        {"UDP", "StatusServer", "host:65536", false},
        {"UDP", "StatusServer", "[::1]514", false},
        {"UDP", "StatusServer", "host:514 ", true},
        {"UDP", "StatusServer", "[::1]:514", true},
        {"UDP", "StatusServer", "::1", true},
        {"UDP", "ConfigurationServer", "host:", false},
    };
    ::SetEnvironmentVariableW(L"CorvanePort", L"1514");
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + row.value);
        EnvironmentBlock settings;
        settings.SetStringValue("LogMonitor.Socket.Type", row.type);
        settings.SetStringValue(row.name, row.value);
        Intervals intervals;
        const std::string wrong = CheckConfiguration(settings, {service("AA")}, intervals);
        EXPECT_EQ(wrong.find(row.name) == std::string::npos, row.good) << wrong;
        if (!row.good) continue;
        EXPECT_EQ(wrong, "");
        EXPECT_EQ(intervals.heartbeat, settings.ValueAvailable("StatusServer") ? 60'000 : 0);
    }
    ::SetEnvironmentVariableW(L"CorvanePort", nullptr);
}

TEST(AgentServiceCommand, QuotesAndCompletesTheRoot) {
    const struct {
        const wchar_t* root;
        std::wstring end;
    } rows[] = {
        {L"", L".exe\" --service --name \"My Agent\""},
        {L"C:\\A B", L".exe\" --service --name \"My Agent\" --root \"C:\\A B\""},
        {L"C:\\", L" --root \"C:\\\\\""},
        {L"C:\\A\\..\\B\\", L" --root \"C:\\B\\\\\""},
    };
    Options options;
    options.serviceName = L"My Agent";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.root);
        options.root = row.root;
        const std::wstring command = GetServiceCommand(options);
        ASSERT_GE(command.size(), row.end.size()) << testing::PrintToString(command);
        EXPECT_EQ(command.substr(command.size() - row.end.size()), row.end);
        EXPECT_EQ(command.front(), L'"');
    }
    options.root = L"relative";
    EXPECT_NE(GetServiceCommand(options).find(L":\\"), std::wstring::npos);
    EXPECT_EQ(GetServiceCommand(options).find(L"\"relative"), std::wstring::npos);
    options.root = L"C:\\A\" --name \"other";
    EXPECT_EQ(GetServiceCommand(options), L"");
}

TEST(AgentStateFile, WritesNumbersAsNumbersAndEverythingElseAsText) {
    EnvironmentBlock status;
    const std::pair<const char*, const char*> rows[] = {
        {"0", "0"},
        {"-12", "-12"},
        {"1.50", "1.50"},
        {"007", "\"007\""},
        {"1.", "\"1.\""},
        {"-", "\"-\""},
        {"1e5", "\"1e5\""},
        {"", "\"\""},
        {"a\"b\\", "\"a\\\"b\\\\\""},
        {"\n\x01", "\"\\u000a\\u0001\""},
    };
    for (const auto& [value, written] : rows) {
        SCOPED_TRACE(value);
        AgentState state;
        status.SetStringValue("value", value);
        state.components = {{"One", status}};
        EXPECT_NE(ToJson(state).find("\"One\": {\"value\": " + std::string(written) + "}"), std::string::npos)
            << ToJson(state);
    }
}

TEST(AgentAlarmLadder, WarnsFloodsAndCalmsDownOncePerChange) {
    AlarmLadder ladder(GetLoggerFactory().GetLog("Agent.Test"), "Queue");
    using State = AlarmLadder::State;
    const struct {
        std::uint64_t used;
        std::int64_t now;
        State state;
    } rows[] = {
        {89, 0, State::kNormal},        {90, 1, State::kWarning},      {100, 1'000, State::kWarning},
        {100, 15'999, State::kWarning}, {99, 16'000, State::kWarning}, {100, 16'001, State::kWarning},
        {100, 31'001, State::kFlooded}, {70, 40'000, State::kFlooded}, {69, 40'001, State::kNormal},
        {89, 50'000, State::kNormal},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.now);
        EXPECT_EQ(ladder.Update(row.used, 100, row.now), row.state);
    }
}

}  // namespace
}  // namespace CorvaneAgent
