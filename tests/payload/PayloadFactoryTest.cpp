#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PayloadMappings.h"
#include "WindowsAgentCommon/PayloadProfile.h"
#include "WindowsAgentCommon/Payloads.h"
#include "WindowsAgentCommon/StreamRoutingResult.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"
#include "tests/payload/PayloadServices.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

TEST(PayloadFactory, TakesTheMappingThatIsConfigured) {
    const std::pair<const char*, bool> rows[] = {
        {nullptr, false},
        {"PayloadMappingv1", true},
        {"PayloadMappingv2", false},
        {"payloadmappingv1", false},  // deliberate, like any other text
        {"", false}};
    LogLines lines("Code.PayloadFactory");
    for (const auto& [setting, isFirst] : rows) {
        lines.text.clear();
        const PayloadServices services(setting);
        EnvironmentBlock other;
        other.SetStringValue("PayloadFactoryMapping", isFirst ? "" : "PayloadMappingv1");
        services.factory.Initialize(other);  // is initialised already
        std::shared_ptr<IPayload> payload;
        services.factory.CreatePayload(payload);
        EXPECT_EQ(isFirst, dynamic_cast<Payloadv1*>(payload.get()) != nullptr) << setting;
        services.factory.Shutdown();
        EXPECT_EQ("300 Payload factory initialized.\n300 Payload factory shut down.\n", lines.text);
        services.factory.Initialize(other);
        services.factory.CreatePayload(payload);
        EXPECT_EQ(!isFirst, dynamic_cast<Payloadv1*>(payload.get()) != nullptr) << setting;
    }
}

TEST(PayloadFactory, GivesIdsByNameAndQualifierAndNamesById) {
    const PayloadServices services;
    unsigned int one = 0, seven = 0, id = 3;
    std::string name = "unchanged";
    EXPECT_FALSE(services.factory.FindField("user", 1, id) || services.factory.GetFieldName(4711, name));
    EXPECT_TRUE(id == 3 && name == "unchanged");
    services.factory.RegisterField("user", 1, one);
    services.factory.RegisterField("user", 0x100000000 + 7, seven);  // the low half counts
    EXPECT_NE(one, seven);
    EXPECT_TRUE(services.factory.FindField("user", 7, id) && id == seven);
    for (const unsigned int each : {one, seven}) {
        name.clear();
        EXPECT_TRUE(services.factory.GetFieldName(each, name) && name == "user");
    }
    PayloadMappingv1 mapping;
    EXPECT_TRUE(mapping.GetFieldKey(seven, name) && name == "user:7");
    services.factory.RegisterField("a:b", -1, id);
    EXPECT_TRUE(mapping.GetFieldKey(id, name) && name == "a:b:-1");
    EXPECT_TRUE(services.factory.GetFieldName(id, name) && name == "a");
    GetGlobalStringRegistry()->RegisterString("no qualifier", id);
    EXPECT_TRUE(services.factory.GetFieldName(id, name) && name == "no qualifier");
}

TEST(PayloadFactory, MakesBuildersByExactName) {
    const PayloadServices services;
    std::shared_ptr<IPayloadBuilder> builder;
    EXPECT_TRUE(services.factory.CreatePayloadBuilder("SyslogPayloadBuilder", builder));
    EXPECT_NE(nullptr, dynamic_cast<SyslogPayloadBuilder*>(builder.get()));
    for (const char* const name : {"SyslogPayloadBuilderX", "syslogPayloadBuilder", ""}) {
        builder = std::make_shared<SyslogPayloadBuilder>();
        EXPECT_TRUE(!services.factory.CreatePayloadBuilder(name, builder) && !builder) << name;
    }
}

TEST(PayloadFactory, ThatIsMissingOrNotInitialisedIsReported) {
    PayloadProfile profile;
    EXPECT_THROW(profile.AddField("x", 1), InitializationException);
    EXPECT_THROW(SyslogPayloadBuilder(), InitializationException);
    const std::unique_ptr<ACE_Service_Object> service(_make_PayloadFactory(nullptr));
    auto& factory = dynamic_cast<IPayloadFactory&>(*service);
    FakeComponentFactory components;
    components.components["PayloadFactory"] = &factory;
    EXPECT_THROW(profile.AddField("x", 1), InitializationException);
    EXPECT_THROW(SyslogPayloadBuilder(), InitializationException);
    std::shared_ptr<IPayload> payload;
    EXPECT_THROW(factory.CreatePayload(payload), InitializationException);
    unsigned int id = 0;
    std::string name;
    EXPECT_FALSE(factory.FindField("x", 1, id) || factory.GetFieldName(0, name) ||
                 factory.ReadPayload(nullptr, payload));
}

int failing = 0;  // of the next requests

void* ScarceMemory(std::size_t size) { return failing-- > 0 ? nullptr : std::malloc(size); }

TEST(PayloadFactory, ThatCannotBeMadeIsNullAndNothingIsThrown) {
    const std::pair<int, std::string> rows[] = {
        {1, "100 Unable to make service PayloadFactory: std::bad_alloc\n"}, {1000, ""}};
    for (const auto& [requests, expected] : rows) {
        SCOPED_TRACE(requests);
        const LogLines lines("Code.ComponentFactory");
        ACE_Service_Object* service = nullptr;
        {
            const ImportPatch patch(L"libstdc++-6.dll", "malloc", &ScarceMemory);
            failing = requests;
            service = _make_PayloadFactory(nullptr);
        }
        EXPECT_EQ(nullptr, service);
        EXPECT_EQ(expected, lines.text);
    }
}

TEST(PayloadProfile, IsStrictOrLenient) {
    using Info = std::pair<unsigned int, std::int64_t>;
    const PayloadServices services;
    std::shared_ptr<IPayloadProfile> strict, lenient;
    services.factory.CreatePayloadProfile(strict);
    services.factory.CreateLegacyPayloadProfile(lenient);
    unsigned int first = 0, second = 0;
    services.factory.RegisterField("f", 5, first);
    services.factory.RegisterField("g", 1, second);
    strict->AddField("f", 5);
    strict->AddField("f", 7);  // the first one wins
    EXPECT_EQ(Info(first, 5), strict->GetFieldTypeInfo("f"));
    EXPECT_EQ(Info(0, 0), strict->GetFieldTypeInfo("g"));
    lenient->AddField("f", 5);
    EXPECT_EQ(Info(first, 5), lenient->GetFieldTypeInfo("f"));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Info(second, 1), lenient->GetFieldTypeInfo("g"));

    struct Derived : LegacyPayloadProfile {
        explicit Derived(std::int64_t type) : typeInfo(type) {}
        void AddField(const std::string& name, const std::int64_t&) override {
            PayloadProfile::AddField(name, typeInfo);
        }
        Info GetFieldTypeInfo(const std::string& name) override {
            ++asked;
            return LegacyPayloadProfile::GetFieldTypeInfo(name);
        }
        const std::int64_t typeInfo;
        int asked = 0;
    };
    for (const auto& [typeInfo, asked] : {std::pair(5, 2), std::pair(0, 1)}) {  // 0 is asked for no further
        Derived derived(typeInfo);
        EXPECT_EQ(typeInfo, derived.GetFieldTypeInfo("f").second);
        EXPECT_EQ(asked, derived.asked);
    }
}

TEST(StreamRoutingResult, TellsErrorsFromFailures) {
    StreamRoutingResult result(StreamRoutingResult::kContinue);
    EXPECT_TRUE(result.ContinueRouting() && result.IsSuccess() && !result.IsQueued() &&
                !result.ErrorOccured());
    result.SetQueued();
    result.SetError();
    EXPECT_TRUE(result.IsSuccess() && result.ErrorOccured());  // an error alone is deliberately no failure
    EXPECT_EQ(0x40000003, int(result));
    result.SetFailure();
    EXPECT_TRUE(result.IsFailure() && !result.IsSuccess() && result.ContinueRouting());
}
