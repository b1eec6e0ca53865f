#include "agent/road/PayloadRouter.h"

#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/road/Destination.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/IDestinationNames.h"
#include "agent/sdk/SettingsReader.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <exception>

namespace CorvaneAgent {

namespace {

using namespace WindowsAgentCommon;

constexpr std::size_t kMaxTargets = 64;

StreamRoutingResult failure() {
    StreamRoutingResult result;
    result.SetFailure();
    return result;
}

}  // namespace

PayloadRouter::PayloadRouter() : log_(GetLoggerFactory().GetLog("Agent.PayloadRouter")) {}

PayloadRouter::~PayloadRouter() = default;

void PayloadRouter::GetDependencies(std::vector<std::string>& services) const {
    services.push_back(IDestinationManager::GetServiceName());
}

InitializeResult PayloadRouter::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    auto* const manager =
        dynamic_cast<IDestinationManager*>(_getService(IDestinationManager::GetServiceName()));
    auto* const names = dynamic_cast<IDestinationNames*>(manager);
    if (!names)
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The router needs a manager of destinations");
    Shutdown();
    for (const std::string& name : names->GetDestinationNames()) addTarget(*manager, name);
    everyone_ = targets_.size() == kMaxTargets ? ~Set{0} : (Set{1} << targets_.size()) - 1;
    SettingsReader reader("PayloadRouter", settings.Entries());
    const std::vector<std::string> routes = reader.Texts("Route");
    reader.RefuseUnknown();
    for (const std::string& name : routes) {
        if (targetOf(name) == targets_.size()) reader.Refuse("Route", name, "is no destination");
        AddRoute(nullptr, name);
    }
    SetInitialized(true);
    return InitializeResult::kDone;
}

void PayloadRouter::addTarget(IDestinationManager& manager, const std::string& name) {
    Target target;
    target.name = name;
    target.destination = manager.GetDestination(name);
    if (!target.destination || targets_.size() == kMaxTargets)
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The router cannot use destination " + name + "; it takes up to 64");
    target.own = dynamic_cast<Destination*>(target.destination.get());
    target.barrier = dynamic_cast<IDeliveryBarrier*>(target.destination.get());
    targets_.push_back(target);
}

std::size_t PayloadRouter::targetOf(const std::string& name) const {
    const auto found = std::find_if(targets_.begin(), targets_.end(),
                                    [&name](const Target& target) { return target.name == name; });
    return static_cast<std::size_t>(found - targets_.begin());
}

void PayloadRouter::AddRoute(const std::shared_ptr<IEventFilter>& filter, const std::string& destination) {
    const std::size_t target = targetOf(destination);
    if (target == targets_.size())
        throw ObjectDoesNotExistException(__FILE__, __FUNCTION__, __LINE__, "destination " + destination);
    auto route = std::make_unique<RouteEntry>();
    route->filter = filter;
    route->target = target;
    const ACE_Guard<ACE_Thread_Mutex> guard(lock_);
    std::atomic<RouteEntry*>& last = routes_.empty() ? first_ : routes_.back()->next;
    routes_.push_back(std::move(route));
    last.store(routes_.back().get(), std::memory_order_release);
}

StreamRoutingResult PayloadRouter::Route(const PayloadPtr& payload) {
    if (!payload || targets_.empty()) return failure();
    const Set set = wanted(*payload);
    if (set == 0) {
        ++unwanted_;
        return StreamRoutingResult();
    }
    if ((set & (set - 1)) != 0) return sendToSome(payload, set);
    std::size_t index = 0;
    while ((set >> index & 1) == 0) ++index;
    return targets_[index].destination->Send(payload);
}

PayloadRouter::Set PayloadRouter::wanted(const IPayload& payload) {
    const RouteEntry* route = first_.load(std::memory_order_acquire);
    if (!route) return everyone_;
    Set set = 0;
    for (; route; route = route->next.load(std::memory_order_acquire)) {
        const Set bit = Set{1} << route->target;
        if ((set & bit) == 0 && accepts(*route, payload)) set |= bit;
    }
    return set;
}

bool PayloadRouter::accepts(const RouteEntry& route, const IPayload& payload) {
    try {
        return !route.filter || route.filter->Accept(payload);
    } catch (const std::exception& e) {
        if (!filterFailed_.exchange(true))
            log_->Error("A filter for destination %s failed, which counts as accepting: %s",
                        targets_[route.target].name.c_str(), e.what());
        return true;
    }
}

/// A place in each destination of the set, or in none.
bool PayloadRouter::reserve(Set set) {
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        if ((set >> i & 1) == 0 || !targets_[i].own || targets_[i].own->Reserve()) continue;
        unreserve(set & ((Set{1} << i) - 1));
        return false;
    }
    return true;
}

void PayloadRouter::unreserve(Set set) {
    for (std::size_t i = 0; i < targets_.size(); ++i)
        if ((set >> i & 1) != 0 && targets_[i].own) targets_[i].own->Unreserve();
}

StreamRoutingResult PayloadRouter::sendToSome(const PayloadPtr& payload, Set set) {
    if (!reserve(set)) return failure();
    const auto giveBack = [this](const Set* left) { unreserve(*left); };
    const std::unique_ptr<const Set, decltype(giveBack)> reserved(&set, giveBack);
    std::vector<std::pair<const Target*, PayloadPtr>> sends;
    for (std::size_t i = 0; i < targets_.size(); ++i)
        if ((set >> i & 1) != 0) sends.emplace_back(&targets_[i], sends.empty() ? payload : payload->Clone());
    int flags = 0;
    for (const auto& send : sends) {
        set &= set - 1;  // the lowest one: its place is used up, even if this fails
        if (send.first->own) {
            send.first->own->SendReserved(send.second);
            flags |= StreamRoutingResult::kQueued;
        } else {
            flags |= send.first->destination->Send(send.second);
        }
    }
    const bool taken = StreamRoutingResult(flags).IsQueued();
    return taken ? StreamRoutingResult(flags & ~static_cast<int>(StreamRoutingResult::kFailure))
                 : StreamRoutingResult(flags);
}

bool PayloadRouter::WaitUntilSafe(unsigned int timeoutMs) {
    const std::int64_t end = SteadyMilliseconds() + timeoutMs;
    if (targets_.empty()) return false;  // shut down: nobody knows any more
    for (const Target& target : targets_) {
        const std::int64_t left = std::max<std::int64_t>(end - SteadyMilliseconds(), 0);
        if (target.barrier && !target.barrier->WaitUntilSafe(static_cast<unsigned int>(left))) return false;
    }
    return true;
}

void PayloadRouter::GetStatus(EnvironmentBlock& status) const {
    std::uint64_t routes = 0;
    for (const RouteEntry* route = first_.load(std::memory_order_acquire); route;
         route = route->next.load(std::memory_order_acquire))
        ++routes;
    status.SetIntegerValue("Routes", routes);
    status.SetIntegerValue("Dropped.Unwanted", unwanted_.load());
}

void PayloadRouter::Shutdown() {
    SetInitialized(false);
    first_ = nullptr;
    routes_.clear();
    targets_.clear();  // so that no destination outlives its manager's module
}

}  // namespace CorvaneAgent
