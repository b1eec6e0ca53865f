#pragma once

#include <string>
#include <vector>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// Keeps credentials, and protects what is stored or sent. After Initialize any thread may call it. Functions
/// return the Windows code, 0 = success; outputs are unchanged on failure.
class CORVANE_API ISecurityManager : public IServiceComponent {
public:
    ~ISecurityManager() override;

    static std::string GetServiceName();  ///< "SecurityManager"

    virtual unsigned long Protect(const std::string& plain, std::vector<unsigned char>& out) = 0;
    virtual unsigned long Unprotect(const std::vector<unsigned char>& data, std::string& plain) = 0;

    /// Credentials by the name under which the configuration refers to them.
    virtual unsigned long SetCredentials(const std::string& name, const std::wstring& user,
                                         const std::wstring& password) = 0;
    virtual unsigned long GetCredentials(const std::string& name, std::wstring& user,
                                         std::wstring& password) = 0;
    virtual unsigned long RemoveCredentials(const std::string& name) = 0;

    /// Makes the calling thread act as the credentials' user until Revert.
    virtual unsigned long Impersonate(const std::string& name) = 0;
    virtual unsigned long Revert() = 0;

    virtual unsigned long Sign(const std::string& data, std::vector<unsigned char>& signature) = 0;
    virtual unsigned long Verify(const std::string& data, const std::vector<unsigned char>& signature) = 0;
};

}  // namespace WindowsAgentCommon
