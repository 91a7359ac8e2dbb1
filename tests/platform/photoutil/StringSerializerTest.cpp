#include <string>

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include "core/Exception.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra {
namespace {

// A small object with nested values, as scene items and core state are.
struct Sample : PhotoUtil::ISerializable {
    std::string name = "untouched";
    double width = 0.0;

    void Serialize(boost::property_tree::ptree& out) const override
    {
        out.put("name", name);
        out.put("size.width", width);
    }
    void Deserialize(const boost::property_tree::ptree& in) override
    {
        name = in.get<std::string>("name");
        width = in.get<double>("size.width");
    }
};

// Every value comes back; malformed text, or text that is not this object (a missing entry, a
// value of the wrong type), throws a readable error and leaves the object alone.
TEST(StringSerializerTest, RoundTripKeepsEveryValueAndBadTextThrows)
{
    auto serializer = PhotoUtil::CreateStringSerializer();
    Sample original, restored;
    original.name = "Arrow \"north\" \\ 東\nline two";
    original.width = -120.25;
    serializer->DeserializeFromString(serializer->SerializeToString(original), restored);
    EXPECT_EQ(restored.name, original.name);
    EXPECT_DOUBLE_EQ(restored.width, original.width);

    for (const char* text : {"", "{", "{\"name\": }", "[1, 2", "not json at all", "{\"name\": \"a\"} trailing"}) {
        Sample object;
        try {
            serializer->DeserializeFromString(text, object);
            ADD_FAILURE() << "no error for: " << text;
        } catch (const Core::Exception& error) {
            EXPECT_FALSE(error.GetDescription().empty());
        }
        EXPECT_EQ(object.name, "untouched") << text;
    }
    EXPECT_THROW(serializer->DeserializeFromString("{\"name\": \"a\"}", restored), Core::Exception);
    EXPECT_THROW(serializer->DeserializeFromString("{\"name\": \"a\", \"size\": {\"width\": \"wide\"}}", restored), Core::Exception);
}

} // namespace
} // namespace Quelto::Lumindra
