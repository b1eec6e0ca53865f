#pragma once

#include "tests/support/TestFactory.h"

#include <ace/Service_Repository.h>
#include <ace/Service_Types.h>

namespace WindowsAgentCommon::test {

/// A component factory that hands out what a test put into components, which it does not own; registered with
/// the service configurator as long as it lives.
class FakeComponentFactory : public TestFactory {
public:
    FakeComponentFactory() {
        auto* const type = new ACE_Service_Object_Type(static_cast<ACE_Service_Object*>(this), kName,
                                                       ACE_Service_Type::DELETE_THIS);
        ACE_Service_Repository::instance()->insert(new ACE_Service_Type(kName, type, ACE_DLL(), true));
    }
    ~FakeComponentFactory() override { ACE_Service_Repository::instance()->remove(kName); }

private:
    static constexpr const wchar_t* kName = L"ComponentFactory_Dynamic_Service";
};

}  // namespace WindowsAgentCommon::test
