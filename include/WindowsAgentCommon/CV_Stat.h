#pragma once

#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/CV_Trans.h"

namespace WindowsAgentCommon {

/// A statistic of the registry (CV_Statistics): a name, a type and the lock that guards its numbers. This
/// base counts nothing.
///
/// The destructor is deliberately not virtual: own one through a std::shared_ptr that was created for the
/// concrete type (std::make_shared<SimpleEPS>), never through a std::unique_ptr<CV_Stat>.
class CORVANE_API CV_Stat : public CV_Trans {
public:
    /// name: what report lines begin with, UTF-8. type: the class's name; null counts as empty.
    CV_Stat(const std::string& name, const char* type);

    /// Called by the registry at each full minute. Does nothing here.
    virtual void OnMinute();

    /// The statistic's part of a report line, behind its name and a blank. Empty here. Called by the registry
    /// with false, never beside OnMinute.
    virtual std::string Report(bool withMinuteMaxima);

    const std::string& Name() const noexcept { return name_; }
    const std::string& Type() const noexcept { return type_; }

private:
    std::string type_;
    std::string name_;
};

}  // namespace WindowsAgentCommon
