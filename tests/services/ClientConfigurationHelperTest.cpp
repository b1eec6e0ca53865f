#include "WindowsAgentCommon/ClientConfigurationHelper.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/KORException.h"

#include <ace/Service_Config.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/support/LogLines.h"

namespace WindowsAgentCommon {
namespace {

const std::string kName = "Code.ClientConfigurationHelper";

class ClientConfigurationHelperTest : public testing::Test {
protected:
    ClientConfigurationHelperTest() {
        for (const char* part : {".Initialize", ".LoadConfigurationManagerService", ".Run"})
            CorvaneLogger::CV_Logger::Logger(kName + part).Reset(&lines.base);
    }
    ~ClientConfigurationHelperTest() override {
        CorvaneLogger::CV_Logger::TheLogger().FixBaseLoggers();
        ACE_Service_Config::close();
    }

    std::string TakeLines() { return std::exchange(lines.text, ""); }

    /// "function line" of the InitializationException; what it says is the last line of the log, an error.
    std::string Failure(const std::function<void()>& call) {
        try {
            call();
        } catch (const InitializationException& failure) {
            EXPECT_EQ("ClientConfigurationHelper", failure.GetFile());
            const std::string last = std::string("100 ") + failure.what() + "\n";
            EXPECT_EQ(last, lines.text.substr(lines.text.rfind("100 ")));
            return failure.GetFunction() + " " + std::to_string(failure.GetLine());
        }
        return "none";
    }

    test::LogLines lines;
};

std::string Directive(const std::string& name) {
    return "400 Config manager service directive: 'dynamic " + name + "_Dynamic_Service Service_Object * " +
           name + ":_make_" + name + "() \"\"'\n";
}

TEST_F(ClientConfigurationHelperTest, LoadsAManagerOnceStartsAndRunsIt) {
    const std::string name = "TestConfigManager";
    ClientConfigurationHelper helper(true);
    EXPECT_EQ(nullptr, helper.GetConfigurationManager());
    IConfigurationManager* const manager = helper.Initialize(name);
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(
        "300 Starting configuration manager service '" + name + "' (no config source)...\n" + Directive(name),
        TakeLines());
    EXPECT_EQ(manager, helper.Initialize(name, "C:\\x.xml"));
    EXPECT_EQ("300 Starting configuration manager service '" + name + "' (config source = 'C:\\x.xml')...\n",
              TakeLines());
    ClientConfigurationHelper copy(false), fresh(false);
    copy = helper;
    copy.Run();
    EXPECT_EQ(manager, ClientConfigurationHelper(copy).GetConfigurationManager());
    fresh.Initialize(name, "");
    EXPECT_EQ("Start() Start(C:\\x.xml,1) Run() Start(,0) ", manager->GetSource());
    EXPECT_FALSE(manager->TriedToDowngrade() || manager->WasForcedUpdate());

    ClientConfigurationHelper forgets(true);
    EXPECT_THROW(forgets.Initialize(name, "bad"), std::runtime_error) << "the manager's own";
    EXPECT_EQ(nullptr, forgets.GetConfigurationManager()) << "nothing is remembered";
}

TEST_F(ClientConfigurationHelperTest, SaysWhereAndWhyItFailed) {
    const std::string name = "WindowsAgentCommon::ClientConfigurationHelper::", sure = "are you sure",
                      missing = "there were 1 errors", load = "LoadConfigurationManagerService 113",
                      injected =
                          "Module:_make_Module() \"\"\ndynamic TestConfigManager_Dynamic_Service "
                          "Service_Object * TestConfigManager:_make_TestConfigManager() \"\"#";
    const struct {
        std::string module, plain, withSource, says;
    } rows[] = {
        {"TestOtherService", "Initialize 47", "Initialize 70", sure},
        {"TestEmptyModule", load, load, missing},
        {"TestThrowingModule", load, load, "100 Unable to make service TestThrowingModule: meant\n"},
        {"NoSuchModule", load, load, missing},
        {"", load, load, missing},
        {"A", load, load, missing},
        {"9Lives", load, load, missing},
        {"Two Words", load, load, missing},
        {"Test-Module", load, load, missing},
        {"..\\TestConfigManager", load, load, missing},
        {"T\xc3\xa4st", load, load, missing},
        {"Test\xff", load, load, missing},
        {std::string("Nul\0l", 5), load, load, missing},
        {injected, load, load, missing},
        {std::string(201, 'x'), load, load, missing},
        {std::string(3000, 'x'), load, load, missing},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.module.substr(0, 60));
        ClientConfigurationHelper helper(false);
        EXPECT_EQ(name + row.plain, Failure([&] { helper.Initialize(row.module); }));
        EXPECT_NE(std::string::npos, TakeLines().find(row.says));
        EXPECT_EQ(name + row.withSource, Failure([&] { helper.Initialize(row.module, "source"); }));
        EXPECT_NE(std::string::npos, TakeLines().find(row.says));
        EXPECT_EQ(name + "Run 92", Failure([&] { helper.Run(); })) << "nothing is remembered";
        EXPECT_NE(std::string::npos, TakeLines().find(sure));
    }
    EXPECT_EQ(nullptr, ClientConfigurationHelper::GetConfigurationManager("TestConfigManager"));
    EXPECT_NE(nullptr, ClientConfigurationHelper(false).Initialize("TestConfigManager"));
}

}  // namespace
}  // namespace WindowsAgentCommon
