#pragma once

class ACE_Service_Object;

namespace CorvaneAgent {

/// Keeps an object of the program's own registered with ACE's service configurator, where the library finds
/// it, as long as it lives. The object must outlive it. On the main thread.
class ServiceRegistration {
public:
    /// name: such as L"ComponentFactory_Dynamic_Service"; static text. Throws InitializationException when it
    /// cannot be registered.
    ServiceRegistration(const wchar_t* name, ACE_Service_Object& service);
    ServiceRegistration(const ServiceRegistration&) = delete;
    ServiceRegistration& operator=(const ServiceRegistration&) = delete;
    ~ServiceRegistration();

private:
    const wchar_t* name_;
};

}  // namespace CorvaneAgent
