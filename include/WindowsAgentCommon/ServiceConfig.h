#pragma once

#include <map>
#include <string>
#include <vector>

namespace WindowsAgentCommon {

/// \file
/// The settings of a service and its instances as components hand them to each other. The library stores and
/// copies them only: what the texts mean is between the component that fills a record and the one that reads
/// it, hence their names. Plain values: UTF-8, copied member by member, no thread rule of their own.

/// One module of an instance.
struct InstanceModuleConfig {
    std::string text1;                            ///< Its text.
    std::map<std::string, std::string> settings;  ///< Its settings by name.
};

/// One instance of a service.
struct InstanceConfig {
    std::string text1;                            ///< First text.
    std::string text2;                            ///< Second text.
    std::map<std::string, std::string> settings;  ///< Its settings by name.
    std::vector<InstanceModuleConfig> modules;    ///< Its modules.
};

/// A service.
struct ServiceConfig {
    ServiceConfig() = default;  ///< Everything empty.

    /// The first four texts; the rest is empty.
    ServiceConfig(const std::string& first, const std::string& second, const std::string& third,
                  const std::string& fourth)
        : text1(first), text2(second), text3(third), text4(fourth) {}

    std::string text1;                            ///< First text.
    std::string text2;                            ///< Second text.
    std::string text3;                            ///< Third text.
    std::string text4;                            ///< Fourth text.
    std::string text5;                            ///< Fifth text.
    std::map<std::string, std::string> settings;  ///< Its settings by name.
    std::vector<InstanceConfig> instances;        ///< Its instances.
};

}  // namespace WindowsAgentCommon
