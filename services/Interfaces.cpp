#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/IConnectionFactory.h"
#include "WindowsAgentCommon/IDestination.h"
#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/IPayloadMapping.h"
#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/IPayloadRouter.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/ISecurityManager.h"
#include "WindowsAgentCommon/ISender.h"
#include "WindowsAgentCommon/IServiceComponent.h"
#include "WindowsAgentCommon/ISocket.h"
#include "WindowsAgentCommon/IStreamProcessor.h"
#include "WindowsAgentCommon/IUNCMachineNameFactory.h"

namespace WindowsAgentCommon {

// The destructors stand here, so that the library alone holds each interface's vtable and type information.
IComponentFactory::~IComponentFactory() = default;
IComponentFactoryHook::~IComponentFactoryHook() = default;
IComponentFactoryOverrideHook::~IComponentFactoryOverrideHook() = default;
IConfigurationManager::~IConfigurationManager() = default;
IConfigurationServerConnection::~IConfigurationServerConnection() = default;
IConnectionFactory::~IConnectionFactory() = default;
IDestination::~IDestination() = default;
IDestinationManager::~IDestinationManager() = default;
IDeviceService::~IDeviceService() = default;
IDiskManager::~IDiskManager() = default;
IEventFilter::~IEventFilter() = default;
IPayload::~IPayload() = default;
IPayloadBuilder::~IPayloadBuilder() = default;
IPayloadFactory::~IPayloadFactory() = default;
IPayloadMapping::~IPayloadMapping() = default;
IPayloadProfile::~IPayloadProfile() = default;
IPayloadRouter::~IPayloadRouter() = default;
IPayloadVisitor::~IPayloadVisitor() = default;
IPersistenceManager::~IPersistenceManager() = default;
IPersistentRecord::~IPersistentRecord() = default;
IRawSocket::~IRawSocket() = default;
IRegistryCache::~IRegistryCache() = default;
IRegistryCacheReader::~IRegistryCacheReader() = default;
ISecurityManager::~ISecurityManager() = default;
ISender::~ISender() = default;
IServiceComponent::~IServiceComponent() = default;
ISocket::~ISocket() = default;
IStreamProcessor::~IStreamProcessor() = default;
IStreamProcessorManager::~IStreamProcessorManager() = default;
ITCPSocket::~ITCPSocket() = default;
IUDPSocket::~IUDPSocket() = default;
IUNCMachineNameFactory::~IUNCMachineNameFactory() = default;

void IComponentFactoryHook::OnFactoryInitializationStart() {}
void IComponentFactoryHook::OnStaticConfigurationInitialized(const std::string&) {}
void IComponentFactoryHook::OnModuleInitialized(const std::string&) {}
void IComponentFactoryHook::OnComponentInitializeSuccess(const std::string&) {}
void IComponentFactoryHook::OnComponentInitializeFail(const std::string&) {}
void IComponentFactoryHook::OnComponentInitializeDefer(const std::string&) {}
void IComponentFactoryHook::OnComponentInitializeBadDependency(const std::string&) {}
void IComponentFactoryHook::OnFactoryInitializationEnd(ComponentFactoryResultCode) {}
void IComponentFactoryHook::OnBeforeComponentShutdown(const std::string&) {}
void IComponentFactoryHook::OnAfterComponentShutdown(const std::string&, ComponentFactoryResultCode) {}
void IComponentFactoryHook::OnFactoryShutdownStarting() {}
void IComponentFactoryHook::OnFactoryShutdownComplete() {}

bool IConfigurationManager::TriedToDowngrade() { return false; }
bool IConfigurationManager::WasForcedUpdate() { return false; }

std::string IConnectionFactory::GetServiceName() { return "ConnectionFactory"; }
std::string IDestinationManager::GetServiceName() { return "DestinationManager"; }
std::string IDiskManager::GetServiceName() { return "DiskManager"; }
std::string IPayloadFactory::GetServiceName() { return "PayloadFactory"; }
std::string IPayloadRouter::GetServiceName() { return "PayloadRouter"; }
std::string IPersistenceManager::GetServiceName() { return "PersistenceManager"; }
std::string IRegistryCache::GetServiceName() { return "RegistryCache"; }
std::string ISecurityManager::GetServiceName() { return "SecurityManager"; }
std::string IStreamProcessorManager::GetServiceName() { return "StreamProcessorManager"; }
std::string IUNCMachineNameFactory::GetServiceName() { return "UNCMachineNameFactory"; }

}  // namespace WindowsAgentCommon
