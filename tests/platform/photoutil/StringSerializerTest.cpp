#include <string>

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include "core/Exception.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra {
namespace {

// A small object with nested values, as scene items and core state are.
struct Sample : PhotoUtil::ISerializable {
    std::string name;
    int width = 0;
    double opacity = 0.0;
    std::string note;

    void Serialize(boost::property_tree::ptree& out) const override
    {
        out.put("name", name);
        out.put("size.width", width);
        out.put("style.opacity", opacity);
        out.put("style.note", note);
    }
    void Deserialize(const boost::property_tree::ptree& in) override
    {
        name = in.get<std::string>("name");
        width = in.get<int>("size.width");
        opacity = in.get<double>("style.opacity");
        note = in.get<std::string>("style.note", "");
    }
};

TEST(StringSerializerTest, RoundTripKeepsEveryValue)
{
    auto serializer = PhotoUtil::CreateStringSerializer();
    Sample original;
    original.name = "Arrow \"north\" \\ 東";
    original.width = -120;
    original.opacity = 0.25;
    original.note = "line one\nline two";

    const std::string text = serializer->SerializeToString(original);
    Sample restored;
    serializer->DeserializeFromString(text, restored);

    EXPECT_EQ(restored.name, original.name);
    EXPECT_EQ(restored.width, original.width);
    EXPECT_DOUBLE_EQ(restored.opacity, original.opacity);
    EXPECT_EQ(restored.note, original.note);
    EXPECT_FALSE(serializer->WriteOut()) << "a serializer without an owner has nothing to write out";
}

TEST(StringSerializerTest, BadTextThrowsAReadableError)
{
    auto serializer = PhotoUtil::CreateStringSerializer();
    for (const char* text : {"", "{", "{\"name\": }", "[1, 2", "not json at all", "{\"name\": \"a\"} trailing"}) {
        Sample object;
        object.name = "untouched";
        try {
            serializer->DeserializeFromString(text, object);
            ADD_FAILURE() << "no error for: " << text;
        } catch (const Core::Exception& error) {
            EXPECT_FALSE(error.GetDescription().empty());
        }
        EXPECT_EQ(object.name, "untouched") << "malformed text must not touch the object";
    }
    // Well-formed, but not this object: a missing entry and a value of the wrong type.
    Sample object;
    EXPECT_THROW(serializer->DeserializeFromString("{\"name\": \"a\"}", object), Core::Exception);
    EXPECT_THROW(serializer->DeserializeFromString(
                     "{\"name\": \"a\", \"size\": {\"width\": \"wide\"}, \"style\": {\"opacity\": \"1\"}}", object),
                 Core::Exception);
}

} // namespace
} // namespace Quelto::Lumindra
