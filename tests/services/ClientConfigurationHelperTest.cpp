#include "WindowsAgentCommon/ClientConfigurationHelper.h"

#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/KORException.h"
#include "tests/support/LogLines.h"

#include <ace/Service_Config.h>
#include <gtest/gtest.h>

#include <functional>

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

struct ClientConfigurationHelperTest : testing::Test {
    ClientConfigurationHelperTest() {
        for (const char* function : {"Initialize", "LoadConfigurationManagerService", "Run"})
            CorvaneLogger::CV_Logger::Logger("Code.ClientConfigurationHelper."s + function)
                .Reset(&lines.base);
    }
    ~ClientConfigurationHelperTest() override {
        CorvaneLogger::CV_Logger::TheLogger().FixBaseLoggers();
        ACE_Service_Config::close();
    }

    std::string TakeLines() { return std::exchange(lines.text, ""); }

    /// "function line" of the InitializationException; what it says is the last line of the log, an error.
    std::string Failure(const std::string& says, const std::function<void()>& call) {
        TakeLines();
        try {
            call();
        } catch (const InitializationException& failure) {
            EXPECT_EQ("ClientConfigurationHelper", failure.GetFile());
            const std::string last = "100 "s + failure.what() + "\n";
            EXPECT_EQ(last, lines.text.substr(lines.text.rfind("100 ")));
            EXPECT_NE(std::string::npos, lines.text.find(says));
            return failure.GetFunction() + " " + std::to_string(failure.GetLine());
        }
        return "none";
    }

    test::LogLines lines;
};

TEST_F(ClientConfigurationHelperTest, LoadsAManagerOnceStartsAndRunsIt) {
    const std::string name = "TestConfigManager",
                      starting = "300 Starting configuration manager service '" + name + "' ";
    ClientConfigurationHelper helper(true);
    EXPECT_EQ(nullptr, helper.GetConfigurationManager());
    IConfigurationManager* const manager = helper.Initialize(name);
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(starting + "(no config source)...\n400 Config manager service directive: 'dynamic " + name +
                  "_Dynamic_Service Service_Object * " + name + ":_make_" + name + "() \"\"'\n",
              TakeLines());
    EXPECT_EQ(manager, helper.Initialize(name, "C:\\x.xml"));
    EXPECT_EQ(starting + "(config source = 'C:\\x.xml')...\n", TakeLines());
    ClientConfigurationHelper copy(false), fresh(false);
    copy = helper;
    copy.Run();
    EXPECT_EQ(manager, ClientConfigurationHelper(copy).GetConfigurationManager());
    fresh.Initialize(name, "");
    EXPECT_EQ("Start() Start(C:\\x.xml,1) Run() Start(,0) ", manager->GetSource());

    ClientConfigurationHelper forgets(true);
    EXPECT_THROW(forgets.Initialize(name, "bad"), std::runtime_error) << "the manager's own";
    EXPECT_EQ(nullptr, forgets.GetConfigurationManager()) << "nothing is remembered";
}

TEST_F(ClientConfigurationHelperTest, SaysWhereAndWhyItFailed) {
    const std::string scope = "WindowsAgentCommon::ClientConfigurationHelper::", sure = "are you sure";
    const std::string injected =
        "Module:_make_Module() \"\"\ndynamic TestConfigManager_Dynamic_Service Service_Object * "
        "TestConfigManager:_make_TestConfigManager() \"\"#";
    for (const std::string& module :
         {"TestOtherService"s, "TestEmptyModule"s, "TestThrowingModule"s, "NoSuchModule"s, ""s, "A"s,
          "9Lives"s, "Two Words"s, "Test-Module"s, "..\\TestConfigManager"s, "T\xc3\xa4st"s, "Test\xff"s,
          "Nul\0l"s, injected, std::string(201, 'x'), std::string(3000, 'x')}) {
        SCOPED_TRACE(module.substr(0, 60));
        const bool isLoaded = module == "TestOtherService";  // which is no manager
        const std::string says = isLoaded ? sure
                                 : module == "TestThrowingModule"
                                     ? "100 Unable to make service TestThrowingModule: meant\n"
                                     : "there were 1 errors",
                          load = "LoadConfigurationManagerService 113";
        ClientConfigurationHelper helper(false);
        EXPECT_EQ(scope + (isLoaded ? "Initialize 47" : load),
                  Failure(says, [&] { helper.Initialize(module); }));
        EXPECT_EQ(scope + (isLoaded ? "Initialize 70" : load),
                  Failure(says, [&] { helper.Initialize(module, "source"); }));
        EXPECT_EQ(scope + "Run 92", Failure(sure, [&] { helper.Run(); })) << "nothing is remembered";
    }
    EXPECT_EQ(nullptr, ClientConfigurationHelper::GetConfigurationManager("TestConfigManager"));
    EXPECT_NE(nullptr, ClientConfigurationHelper(false).Initialize("TestConfigManager"));
}

}  // namespace
