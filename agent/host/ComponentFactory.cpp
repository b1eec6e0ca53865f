#include "agent/host/ComponentFactory.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/IDeviceService.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/IStoppable.h"

#include <ace/Dynamic_Service.h>
#include <ace/Guard_T.h>
#include <ace/Service_Config.h>

#include <algorithm>
#include <exception>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::int64_t kStopMs = 1000;  // what collectors have together; the destinations have 3 seconds

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        if (end == std::string::npos) return lines;
        start = end + 1;
    }
}

std::wstring serviceName(const std::string& name) { return FromUTF8(name) + L"_Dynamic_Service"; }

}  // namespace

bool IsDirectiveName(const std::string& name) {
    const auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    };
    return name.size() >= 2 && name.size() <= 100 && !(name[0] >= '0' && name[0] <= '9') &&
           std::all_of(name.begin(), name.end(), fits);
}

ComponentFactory::ComponentFactory() : log_(GetLoggerFactory().GetLog("Agent.ComponentFactory")) {}

ComponentFactory::~ComponentFactory() = default;

template <class Call>
void ComponentFactory::tell(Call call) {
    for (IComponentFactoryHook* const hook : hooks_) call(*hook);
}

ComponentFactory::Result ComponentFactory::fail(Result result, const std::string& name,
                                                const std::string& why) {
    log_->Error("%s: %s", name.c_str(), why.c_str());
    failed_ = name;
    failure_ = why;
    return result;
}

ComponentFactory::Result ComponentFactory::Initialize(const std::vector<ServiceConfig>& services) {
    if (initialized_) return kComponentFactoryWrongState;
    failed_.clear();
    result_ = kComponentFactorySuccess;
    try {
        tell([](IComponentFactoryHook& hook) { hook.OnFactoryInitializationStart(); });
        for (const ServiceConfig& service : services) {
            if (result_ == kComponentFactorySuccess) result_ = make(service);
        }
        if (result_ == kComponentFactorySuccess) result_ = initializeAll();
        if (result_ == kComponentFactorySuccess) result_ = startAll(0);
    } catch (const std::exception& error) {
        result_ = fail(kComponentFactoryComponentFailed, "ComponentFactory", error.what());
    }
    initialized_ = result_ == kComponentFactorySuccess;
    if (!initialized_) endAll(result_);
    const Result result = result_;
    tell([result](IComponentFactoryHook& hook) { hook.OnFactoryInitializationEnd(result); });
    return result_;
}

ComponentFactory::Result ComponentFactory::make(const ServiceConfig& service) {
    Entry entry;
    entry.name = service.text1;
    if (!IsDirectiveName(entry.name)) {
        return fail(kComponentFactoryModuleMissing, entry.name,
                    "a service's name has letters, digits and _ only, at least two");
    }
    if (GetComponent(entry.name)) {
        return fail(kComponentFactoryComponentFailed, entry.name, "there are two services of this name");
    }
    for (const auto& [name, value] : service.settings) entry.settings.SetArrayValue(name, linesOf(value));
    std::string module = service.text2.empty() ? "CorvaneCommon" : service.text2;
    IServiceComponent* own = nullptr;
    if (override_) {
        override_->OverrideModule(entry.name, module);
        override_->OverrideSettings(entry.name, entry.settings);
        if (override_->OverrideComponent(entry.name, own)) entry.component = own;
    }
    tell([&](IComponentFactoryHook& hook) { hook.OnStaticConfigurationInitialized(entry.name); });
    if (!entry.component) {
        const Result result = load(service, module, entry);
        if (result != kComponentFactorySuccess) return result;
    }
    add(entry);
    entry.component->Configure(service);
    tell([&](IComponentFactoryHook& hook) { hook.OnModuleInitialized(entry.name); });
    return kComponentFactorySuccess;
}

ComponentFactory::Result ComponentFactory::load(const ServiceConfig& service, const std::string& module,
                                                Entry& entry) {
    const std::string& made = service.text3.empty() ? service.text1 : service.text3;
    if (!IsDirectiveName(module) || !IsDirectiveName(made)) {
        return fail(kComponentFactoryModuleMissing, entry.name,
                    "the names of a module and a class have letters, digits and _ only, at least two");
    }
    const std::wstring name = serviceName(entry.name);
    const std::wstring directive =
        L"dynamic " + name + L" Service_Object * " + FromUTF8(module + ":_make_" + made) + L"() \"\"";
    log_->Debug("Directive: %ls", directive.c_str());
    if (ACE_Service_Config::process_directive(directive.c_str()) != 0) {
        return fail(kComponentFactoryModuleMissing, entry.name,
                    "the module " + module + " with the creation function _make_" + made +
                        " cannot be loaded; is a DLL missing?");
    }
    entry.loaded = true;
    entry.component = ACE_Dynamic_Service<IServiceComponent>::instance(name.c_str());
    if (!entry.component) {
        unload(entry);
        return fail(kComponentFactoryNotAComponent, entry.name,
                    "what _make_" + made + " of " + module + " makes is no service component");
    }
    return kComponentFactorySuccess;
}

void ComponentFactory::unload(const Entry& entry) {
    if (entry.loaded) ACE_Service_Config::remove(serviceName(entry.name).c_str());
}

void ComponentFactory::add(const Entry& entry) {
    entries_.push_back(entry);
    ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(lock_);
    byName_[entry.name] = entry.component;
}

ComponentFactory::Result ComponentFactory::initializeAll() {
    std::vector<std::size_t> waiting;
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        if (entries_[index].component && !entries_[index].initialized) waiting.push_back(index);
    }
    while (!waiting.empty()) {
        std::vector<std::size_t> left;
        for (const std::size_t index : waiting) {
            bool known = true;
            if (!hasDependencies(entries_[index], known)) {
                left.push_back(index);
                continue;
            }
            try {
                if (initializeOne(index)) continue;
                left.push_back(index);
            } catch (const std::exception& error) {
                const std::string name = entries_[index].name;
                tell([&](IComponentFactoryHook& hook) { hook.OnComponentInitializeFail(name); });
                return fail(kComponentFactoryComponentFailed, name, error.what());
            }
        }
        if (left.size() == waiting.size()) return reportStuck(left);
        waiting.swap(left);
    }
    return kComponentFactorySuccess;
}

bool ComponentFactory::hasDependencies(const Entry& entry, bool& known) {
    std::vector<std::string> services;
    entry.component->GetDependencies(services);
    for (const std::string& service : services) {
        const auto found = std::find_if(entries_.begin(), entries_.end(),
                                        [&](const Entry& other) { return other.name == service; });
        known = found != entries_.end();
        if (!known || !found->initialized) return false;
    }
    return true;
}

/// Whether it is initialised now; false when it defers.
bool ComponentFactory::initializeOne(std::size_t index) {
    Entry& entry = entries_[index];
    if (entry.component->Initialize(entry.settings) == InitializeResult::kDefer) {
        tell([&](IComponentFactoryHook& hook) { hook.OnComponentInitializeDefer(entry.name); });
        return false;
    }
    entry.initialized = true;
    order_.push_back(index);
    tell([&](IComponentFactoryHook& hook) { hook.OnComponentInitializeSuccess(entry.name); });
    return true;
}

ComponentFactory::Result ComponentFactory::reportStuck(const std::vector<std::size_t>& waiting) {
    const Entry* unknown = nullptr;  // waits for a service that is not
    const Entry* deferring = nullptr;
    const Entry* unmet = nullptr;  // waits for a service that is there
    for (const std::size_t index : waiting) {
        bool known = true;
        const Entry& entry = entries_[index];
        if (hasDependencies(entry, known)) {
            deferring = &entry;
            continue;
        }
        tell([&](IComponentFactoryHook& hook) { hook.OnComponentInitializeBadDependency(entry.name); });
        if (known) {
            if (!unmet) unmet = &entry;
        } else if (!unknown) {
            unknown = &entry;
        }
    }
    if (unknown) {
        return fail(kComponentFactoryBadDependency, unknown->name,
                    "a service that it depends on is not configured");
    }
    if (deferring) {
        return fail(kComponentFactoryDeferredForever, deferring->name,
                    "it defers its initialisation, and nothing is left that it could wait for");
    }
    return fail(kComponentFactoryBadDependency, unmet ? unmet->name : std::string(),
                "it depends on a service that depends on it");
}

/// from: the first one of order_ to start.
ComponentFactory::Result ComponentFactory::startAll(std::size_t from) {
    for (; from < order_.size(); ++from) {
        const Entry& entry = entries_[order_[from]];
        try {
            entry.component->Start();
        } catch (const std::exception& error) {
            return fail(kComponentFactoryComponentFailed, entry.name, error.what());
        }
    }
    return kComponentFactorySuccess;
}

void ComponentFactory::shutdownOne(Entry& entry) {
    if (!entry.initialized) return;
    entry.initialized = false;
    Result result = kComponentFactorySuccess;
    try {
        tell([&](IComponentFactoryHook& hook) { hook.OnBeforeComponentShutdown(entry.name); });
        entry.component->Shutdown();
    } catch (const std::exception& error) {
        result = fail(kComponentFactoryShutdownFailed, entry.name, error.what());
        result_ = result;
    }
    tell([&](IComponentFactoryHook& hook) { hook.OnAfterComponentShutdown(entry.name, result); });
}

/// Shuts down and destroys everything, the last one first; gives result back, which it also keeps.
ComponentFactory::Result ComponentFactory::endAll(Result result) {
    result_ = result;
    for (auto index = order_.rbegin(); index != order_.rend(); ++index) shutdownOne(entries_[*index]);
    {
        ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(lock_);
        byName_.clear();
    }
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) unload(*entry);
    entries_.clear();
    order_.clear();
    return result_;
}

ComponentFactory::Result ComponentFactory::Shutdown() {
    if (!initialized_) return kComponentFactoryWrongState;
    tell([](IComponentFactoryHook& hook) { hook.OnFactoryShutdownStarting(); });
    endAll(kComponentFactorySuccess);
    initialized_ = false;
    tell([](IComponentFactoryHook& hook) { hook.OnFactoryShutdownComplete(); });
    return result_;
}

bool ComponentFactory::IsInitialized() const { return initialized_; }

bool ComponentFactory::RegisterComponent(const std::string& name, IServiceComponent* component) {
    if (!component || GetComponent(name)) return false;
    Entry entry;
    entry.name = name;
    entry.component = component;
    add(entry);
    return true;
}

IServiceComponent* ComponentFactory::GetComponent(const std::string& name) {
    ACE_Read_Guard<ACE_RW_Thread_Mutex> guard(lock_);
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : found->second;
}

bool ComponentFactory::RemoveComponent(const std::string& name) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.name == name; });
    if (found == entries_.end()) return false;
    shutdownOne(*found);
    {
        ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(lock_);
        byName_.erase(name);
    }
    unload(*found);
    // The others keep their places, to which order_ refers.
    const auto index = static_cast<std::size_t>(found - entries_.begin());
    order_.erase(std::remove(order_.begin(), order_.end(), index), order_.end());
    *found = Entry();
    while (!entries_.empty() && !entries_.back().component) entries_.pop_back();
    return true;
}

void ComponentFactory::BeginStop(const std::vector<std::string>& names) {
    const std::int64_t deadline = SteadyMilliseconds() + kStopMs;
    for (const std::string& name : names) {
        try {
            if (auto* const component = dynamic_cast<IStoppable*>(GetComponent(name)))
                component->BeginStop(deadline);
        } catch (const std::exception& error) {
            log_->Error("The component %s does not begin its end: %s", name.c_str(), error.what());
        }
    }
}

ComponentFactory::Result ComponentFactory::Add(const ServiceConfig& service) {
    if (!initialized_) return kComponentFactoryWrongState;
    const std::size_t count = entries_.size();
    Result result = kComponentFactoryComponentFailed;
    try {
        result = addOne(service);
    } catch (const std::exception& error) {
        result = fail(result, service.text1, error.what());
    }
    if (result != kComponentFactorySuccess && entries_.size() > count) RemoveComponent(service.text1);
    return result;
}

ComponentFactory::Result ComponentFactory::addOne(const ServiceConfig& service) {
    Result result = make(service);
    if (result != kComponentFactorySuccess) return result;
    if (!dynamic_cast<IDeviceService*>(entries_.back().component))
        return fail(kComponentFactoryNotAComponent, service.text1,
                    "it is no collector, and comes with a restart only");
    result = initializeAll();
    return result == kComponentFactorySuccess ? startAll(order_.size() - 1) : result;
}

void ComponentFactory::GetComponentNames(std::vector<std::string>& names) {
    for (const std::size_t index : order_) names.push_back(entries_[index].name);
}

bool ComponentFactory::IsInitialized(const std::string& name) {
    IServiceComponent* const component = GetComponent(name);
    return component && component->IsInitialized();
}

bool ComponentFactory::GetStatus(const std::string& name, EnvironmentBlock& status) {
    IServiceComponent* const component = GetComponent(name);
    if (component) component->GetStatus(status);
    return component != nullptr;
}

void ComponentFactory::AddHook(IComponentFactoryHook* hook) {
    if (hook) hooks_.push_back(hook);
}

void ComponentFactory::RemoveHook(IComponentFactoryHook* hook) {
    hooks_.erase(std::remove(hooks_.begin(), hooks_.end(), hook), hooks_.end());
}

void ComponentFactory::SetOverrideHook(IComponentFactoryOverrideHook* hook) { override_ = hook; }

ComponentFactory::Result ComponentFactory::GetResultCode() const { return result_; }

std::string ComponentFactory::GetFailedComponent() const { return failed_; }

}  // namespace CorvaneAgent
