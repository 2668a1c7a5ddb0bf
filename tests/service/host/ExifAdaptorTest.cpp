#include "service/host/adaptors/ExifExtractorAdaptor.h"

#include "tests/service/host/AdaptorTest.h"
#include "tests/support/Introspection.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <map>

namespace mv {
namespace {

struct FakeExtractor final : MVExifExtractorBase {
    std::shared_ptr<MVExifInfo> extractExif(const OpenedFile& file) override
    {
        if (file.path().text() == "/none")
            return nullptr;
        auto info = std::make_shared<MVExifInfo>();
        info->vendor = file.path().text();
        info->model = "";
        info->version = "0220";
        info->versionNumber = 220;
        info->date = Date { 1'234'567 };
        return info;
    }
};

constexpr const char* Interface = "Mivo.MVExifInfo";

class ExifAdaptorTest : public test::AdaptorTest {
protected:
    ExifAdaptorTest() { serve(std::make_unique<ExifExtractorAdaptor>(std::make_unique<FakeExtractor>())); }
    ~ExifAdaptorTest() override { m_connection.reset(); }

    std::string extract(const char* path)
    {
        return call("Mivo.MVExifExtractorBase", "extractExif", [&](WireWriter& out) { out.string(path); })
            .reader()
            .objectPath();
    }
    /// A property's value in busctl's manner, read by its signature.
    std::string get(const std::string& object, const char* property, const char* signature)
    {
        auto answer = call(
            "org.freedesktop.DBus.Properties", "Get", [&](WireWriter& out) { out.string(Interface).string(property); },
            object.c_str());
        if (!answer.ok())
            return answer.error;
        EXPECT_GE(sd_bus_message_enter_container(answer.message.get(), 'v', signature), 0) << property;
        WireReader in = answer.reader();
        if (std::string_view(signature) == "i")
            return std::to_string(in.integer());
        if (std::string_view(signature) == "a(x)") {
            auto date = in.optionalDate();
            return date ? std::to_string(date->microseconds) : "nil";
        }
        return in.optionalString().value_or("nil");
    }
    test::Answer set(const std::string& object, const char* property, const char* signature, const char* value)
    {
        sd_bus_message* message = nullptr;
        sd_bus_message_new_method_call(
            m_client.bus(), &message, BusName, object.c_str(), "org.freedesktop.DBus.Properties", "Set");
        BusMessage holder(message);
        sd_bus_message_append(message, "ss", Interface, property);
        if (std::string_view(signature) == "i")
            sd_bus_message_append(message, "v", "i", std::atoi(value));
        else
            sd_bus_message_append(message, "v", "as", 1, value);
        BusErrorHolder error;
        test::Answer answer;
        sd_bus_message* reply = nullptr;
        if (sd_bus_call(m_client.bus(), message, 0, error.get(), &reply) < 0)
            answer.error = error.name();
        answer.message.reset(reply);
        return answer;
    }
};

TEST_F(ExifAdaptorTest, NothingIsTheNilObject) { EXPECT_EQ(extract("/none"), "/"); }

TEST_F(ExifAdaptorTest, PropertiesHoldTheFields)
{
    std::string info = extract("/a.jpg");
    EXPECT_EQ(get(info, "vendor", "as"), "/a.jpg");
    EXPECT_EQ(get(info, "model", "as"), "") << "empty is not nil";
    EXPECT_EQ(get(info, "F_value", "as"), "nil");
    EXPECT_EQ(get(info, "versionNumber", "i"), "220");
    EXPECT_EQ(get(info, "date", "a(x)"), "1234567");
}

TEST_F(ExifAdaptorTest, GetAllReadsEverythingAtOnce)
{
    std::string info = extract("/a.jpg");
    auto answer = call(
        "org.freedesktop.DBus.Properties", "GetAll", [](WireWriter& out) { out.string(Interface); }, info.c_str());
    ASSERT_TRUE(answer.ok()) << answer.text;
    sd_bus_message* message = answer.message.get();
    ASSERT_GT(sd_bus_message_enter_container(message, 'a', "{sv}"), 0);
    int count = 0;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        ++count;
        sd_bus_message_skip(message, "sv");
        sd_bus_message_exit_container(message);
    }
    EXPECT_EQ(count, 20);
}

TEST_F(ExifAdaptorTest, PropertiesCanBeSet)
{
    std::string info = extract("/a.jpg");
    EXPECT_TRUE(set(info, "vendor", "as", "Other").ok());
    EXPECT_TRUE(set(info, "versionNumber", "i", "7").ok());
    EXPECT_EQ(get(info, "vendor", "as"), "Other");
    EXPECT_EQ(get(info, "versionNumber", "i"), "7");
    EXPECT_FALSE(set(info, "vendor", "i", "7").ok()) << "of the wrong type";
}

TEST_F(ExifAdaptorTest, SetValuesPutsTheSourcesVersionIntoTheVendor)
{
    std::string source = extract("/a.jpg");
    std::string target = extract("/b.jpg");
    set(target, "version", "as", "0100");
    auto answer = call(
        Interface, "setValues", [&](WireWriter& out) { out.objectPath(source); }, target.c_str());
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(get(target, "vendor", "as"), "0220");
    EXPECT_EQ(get(target, "version", "as"), "0100");
}

TEST_F(ExifAdaptorTest, SetValuesFromWhatIsNoInfoIsAnError)
{
    std::string target = extract("/b.jpg");
    for (const char* path : { "/", "/info/999999" }) {
        auto answer = call(
            Interface, "setValues", [&](WireWriter& out) { out.objectPath(path); }, target.c_str());
        EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.UnknownObject") << path;
    }
}

TEST_F(ExifAdaptorTest, ReleaseTakesItOffTheBus)
{
    std::string info = extract("/a.jpg");
    EXPECT_TRUE(call(Interface, "release", {}, info.c_str()).ok());
    EXPECT_EQ(get(info, "vendor", "as"), "org.freedesktop.DBus.Error.UnknownObject");
}

TEST_F(ExifAdaptorTest, IsReleasedByItsClientAlone)
{
    std::string info = extract("/a.jpg");
    test::BusClient other;
    EXPECT_EQ(other.call(BusName, info.c_str(), Interface, "release").error, "org.freedesktop.DBus.Error.AccessDenied");
    EXPECT_EQ(get(info, "vendor", "as"), "/a.jpg");
}

TEST_F(ExifAdaptorTest, TheInterfaceIsTheDocumentedOne)
{
    std::string info = extract("/a.jpg");
    auto answer = call("org.freedesktop.DBus.Introspectable", "Introspect", {}, info.c_str());
    Bytes file = test::readFile(test::sourcePath("service/include/dbus/Mivo.MVExifInfo.xml"));
    std::string documented = test::withoutDocumentation(std::string(charsOf(file)));
    documented = documented.substr(
        documented.find(" <interface"), documented.rfind("</node>") - documented.find(" <interface"));
    EXPECT_NE(answer.reader().string().find(documented), std::string::npos);
}

} // namespace
} // namespace mv
