#include "agent/config/AgentConfigManager.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

/// Reads one document; text in errors is quoted as UTF-8.
class Parser {
public:
    explicit Parser(const std::string& text) : text_(text) {}

    AgentConfiguration Parse() {
        const pugi::xml_parse_result result = document_.load_buffer(text_.data(), text_.size());
        if (!result) fail(result.offset, result.description());
        const pugi::xml_node root = document_.document_element();
        if (std::strcmp(root.name(), "AgentConfig") != 0)
            fail(root, "the outermost element is not AgentConfig");
        checkAttributes(root, {"version"});
        for (const pugi::xml_node node : root.children()) readTop(node);
        configuration_.version = root.attribute("version").value();
        return configuration_;
    }

private:
    using Settings = std::map<std::string, std::string>;

    [[noreturn]] void fail(std::ptrdiff_t offset, const std::string& why) const {
        const auto end =
            text_.begin() + std::clamp<std::ptrdiff_t>(offset, 0, static_cast<std::ptrdiff_t>(text_.size()));
        const auto line = std::count(text_.begin(), end, '\n') + 1;
        const auto start = std::find(std::make_reverse_iterator(end), text_.rend(), '\n').base();
        std::string message;
        Format(message, "line %d, column %d: ", static_cast<int>(line), static_cast<int>(end - start) + 1);
        throw KORException(__FILE__, __FUNCTION__, __LINE__, message + why);
    }
    [[noreturn]] void fail(const pugi::xml_node& node, const std::string& why) const {
        fail(node.offset_debug(), why);
    }

    void checkAttributes(const pugi::xml_node& node, std::initializer_list<const char*> known) const {
        for (const pugi::xml_attribute attribute : node.attributes()) {
            const auto same = [&](const char* name) { return std::strcmp(name, attribute.name()) == 0; };
            if (std::none_of(known.begin(), known.end(), same)) {
                fail(node, std::string(node.name()) + " has an unknown attribute " + attribute.name());
            }
        }
    }

    std::string needed(const pugi::xml_node& node, const char* attribute) const {
        const pugi::xml_attribute found = node.attribute(attribute);
        if (!*found.value()) fail(node, std::string(node.name()) + " has no " + attribute);
        return found.value();
    }

    bool is(const pugi::xml_node& node, const char* name) const {
        return node.type() == pugi::node_element && std::strcmp(node.name(), name) == 0;
    }

    [[noreturn]] void unexpected(const pugi::xml_node& node) const {
        if (node.type() != pugi::node_element) fail(node, "there is text between the elements");
        fail(node, std::string("the element ") + node.name() + " is not known here");
    }

    /// repeatable: further values of a name are put behind the first, a line feed between.
    bool readSetting(const pugi::xml_node& node, Settings& settings, bool repeatable = false) const {
        if (!is(node, "Setting")) return false;
        checkAttributes(node, {"name", "value"});
        const std::string name = needed(node, "name");
        if (!node.attribute("value")) fail(node, "the setting " + name + " has no value");
        const auto [entry, isNew] = settings.emplace(name, node.attribute("value").value());
        if (!isNew && !repeatable) fail(node, "the setting " + name + " is given twice");
        if (!isNew) entry->second += std::string("\n") + node.attribute("value").value();
        if (node.first_child()) unexpected(node.first_child());
        return true;
    }

    void readTop(const pugi::xml_node& node) {
        if (is(node, "Settings")) {
            checkAttributes(node, {});
            for (const pugi::xml_node child : node.children()) {
                if (!readSetting(child, configuration_.settings)) unexpected(child);
            }
        } else if (is(node, "Services")) {
            checkAttributes(node, {});
            for (const pugi::xml_node child : node.children()) readService(child);
        } else {
            unexpected(node);
        }
    }

    void readService(const pugi::xml_node& node) {
        if (!is(node, "Service")) unexpected(node);
        checkAttributes(node, {"name", "module", "class"});
        ServiceConfig service(needed(node, "name"), node.attribute("module").value(),
                              node.attribute("class").value(), std::string());
        const auto same = [&](const ServiceConfig& other) { return other.text1 == service.text1; };
        if (std::any_of(configuration_.services.begin(), configuration_.services.end(), same)) {
            fail(node, "the service " + service.text1 + " is there twice");
        }
        for (const pugi::xml_node child : node.children()) {
            if (readSetting(child, service.settings, true)) continue;
            if (!is(child, "Instance")) unexpected(child);
            service.instances.push_back(readInstance(child));
        }
        configuration_.services.push_back(std::move(service));
    }

    InstanceConfig readInstance(const pugi::xml_node& node) const {
        checkAttributes(node, {"name", "type"});
        InstanceConfig instance;
        instance.text1 = needed(node, "name");
        instance.text2 = node.attribute("type").value();
        for (const pugi::xml_node child : node.children()) {
            if (readSetting(child, instance.settings)) continue;
            if (!is(child, "Module")) unexpected(child);
            checkAttributes(child, {"name"});
            InstanceModuleConfig module;
            module.text1 = needed(child, "name");
            for (const pugi::xml_node setting : child.children()) {
                if (!readSetting(setting, module.settings)) unexpected(setting);
            }
            instance.modules.push_back(std::move(module));
        }
        return instance;
    }

    const std::string& text_;
    pugi::xml_document document_;
    AgentConfiguration configuration_;
};

}  // namespace

AgentConfiguration ParseAgentConfig(const std::string& text) { return Parser(text).Parse(); }

}  // namespace CorvaneAgent
