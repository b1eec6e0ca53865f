#include "agent/config/AgentConfigManager.h"

#include <gtest/gtest.h>

#include "WindowsAgentCommon/KORException.h"

namespace CorvaneAgent {
namespace {

TEST(AgentConfig, FillsTheRecords) {
    const AgentConfiguration read = ParseAgentConfig(R"(<?xml version="1.0"?>
<AgentConfig version="1.2"><!-- a comment -->
  <Settings><Setting name="A" value="1 &lt; 2"/></Settings>
  <Services>
    <Service name="One" module="M" class='C'>
      <Setting name="S" value=""/><Setting name="R" value="1"/><Setting name="R" value="2"/>
      <Instance name="i" type="T"><Setting name="X" value="Y"/><Module name="m"><Setting name="P" value="Q"/></Module>
      </Instance>
    </Service>
    <Service name="Two"/>
  </Services>
</AgentConfig>)");
    EXPECT_EQ(read.version, "1.2");
    EXPECT_EQ(read.settings.at("A"), "1 < 2");
    ASSERT_EQ(read.services.size(), 2U);
    const WindowsAgentCommon::ServiceConfig& one = read.services[0];
    EXPECT_EQ(one.text1 + "|" + one.text2 + "|" + one.text3, "One|M|C");
    EXPECT_EQ(one.settings.at("S"), "");
    EXPECT_EQ(one.settings.at("R"), "1\n2");
    ASSERT_EQ(one.instances.size(), 1U);
    EXPECT_EQ(one.instances[0].text1 + "|" + one.instances[0].text2, "i|T");
    EXPECT_EQ(one.instances[0].settings.at("X"), "Y");
    ASSERT_EQ(one.instances[0].modules.size(), 1U);
    EXPECT_EQ(one.instances[0].modules[0].text1, "m");
    EXPECT_EQ(one.instances[0].modules[0].settings.at("P"), "Q");
}

TEST(AgentConfig, SaysWhereAndWhatIsWrong) {
    const struct {
        const char* text;
        const char* message;
    } rows[] = {
        {"", "line 1, column 1: "},
        {"no xml", "line 1, column "},
        {"<AgentConfig>\n  <Services>\n</AgentConfig>", "line 3, column "},
        {"<Other/>", "the outermost element is not AgentConfig"},
        {"<AgentConfig>\n <Foo/></AgentConfig>", "line 2, column 3: the element Foo is not known here"},
        {"<AgentConfig>text</AgentConfig>", "there is text between the elements"},
        {"<AgentConfig colour='red'/>", "AgentConfig has an unknown attribute colour"},
        {"<AgentConfig><Settings><Setting value='1'/></Settings></AgentConfig>", "Setting has no name"},
        {"<AgentConfig><Settings><Setting name='a'/></Settings></AgentConfig>", "the setting a has no value"},
        {"<AgentConfig><Settings><Setting name='a' value=''/><Setting name='a' "
         "value=''/></Settings></AgentConfig>",
         "the setting a is given twice"},
        {"<AgentConfig><Services><Service/></Services></AgentConfig>", "Service has no name"},
        {"<AgentConfig><Services><Service name='a'/><Service name='a'/></Services></AgentConfig>",
         "the service a is there twice"},
        {"<AgentConfig><Services><Service name='a'><Instance/></Service></Services></AgentConfig>",
         "Instance has no name"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        try {
            ParseAgentConfig(row.text);
            ADD_FAILURE() << "no exception";
        } catch (const WindowsAgentCommon::KORException& error) {
            EXPECT_NE(std::string(error.what()).find(row.message), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace CorvaneAgent
