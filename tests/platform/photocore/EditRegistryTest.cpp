// Every registered edit, walked as a table: its saved form, equality, result size and alpha.

#include <map>
#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "photocore/EditRegistry.h"
#include "photocore/ImageDecoder.h"
#include "proc/AlphaRange.h"
#include "support/FrameTestSupport.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace pt = boost::property_tree;
using Proc::DataVideoPtr;

struct Row {
    std::shared_ptr<const Proc::SettingsBase> sample;
    std::shared_ptr<const Proc::SettingsBase> other; // one value differs from sample's
    std::string savedText;                            // the saved-session form, which must not drift
    bool removesAlpha;
};

template <class S, class... A>
std::shared_ptr<const Proc::SettingsBase> Make(A... args)
{
    return std::make_shared<S>(args...);
}

std::shared_ptr<const Proc::SettingsBase> Adjust(double exposure, double contrast, double saturation)
{
    auto s = std::make_shared<Proc::SettingsAdjust>();
    s->exposure = exposure;
    s->contrast = contrast;
    s->saturation = saturation;
    return s;
}

std::shared_ptr<const Proc::SettingsBase> Convert(std::vector<int> formats, bool flatten, int padG)
{
    auto s = std::make_shared<Proc::SettingsColorspaceConverter>(std::move(formats), flatten);
    s->SetPadColor(10, std::uint8_t(padG), 30);
    return s;
}

// One row per registered class id; an entry without a row fails the walk.
const std::map<std::string, Row>& Rows()
{
    static const std::map<std::string, Row> rows {
        {Proc::SettingsRotate::CLASS_ID,
         {Make<Proc::SettingsRotate>(1), Make<Proc::SettingsRotate>(3),
          R"({"class":"Proc.Rotate","quarterTurns":"1"})", false}},
        {Proc::SettingsFlip::CLASS_ID,
         {Make<Proc::SettingsFlip>(false), Make<Proc::SettingsFlip>(true),
          R"({"class":"Proc.Flip","horizontal":"false"})", false}},
        {Proc::SettingsCrop::CLASS_ID,
         {Make<Proc::SettingsCrop>(5, -3, 20, 12), Make<Proc::SettingsCrop>(5, -3, 20, 13),
          R"({"class":"Proc.Crop","x":"5","y":"-3","width":"20","height":"12"})", false}},
        {Proc::SettingsAdjust::CLASS_ID,
         {Adjust(0.5, -25, 40), Adjust(0.5, -25, 40.25),
          R"({"class":"Proc.Adjust","exposure":"0.5","contrast":"-25","saturation":"40"})", false}},
        {Proc::SettingsColorspaceConverter::CLASS_ID,
         {Convert({Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}, true, 20),
          Convert({Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}, true, 21),
          R"({"class":"Proc.ColorspaceConverter","formats":["2","3"],"flattenAlpha":"true","padR":"10","padG":"20","padB":"30"})",
          true}},
    };
    return rows;
}

std::string Text(const pt::ptree& tree)
{
    std::ostringstream out;
    pt::write_json(out, tree, false);
    std::string text = out.str();
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

// A real photograph, and a transparent 16-bit frame with non-square pixels.
std::vector<DataVideoPtr> InputFrames()
{
    const std::string photo = Test::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg");
    const DataVideoPtr decoded =
        ImageDecoder::DecodeFull(photo, ImageDecoder::ReadHeader(photo), DecodeOptions {}).frame;
    return {decoded, Test::MakeFrame(Proc::PIX_FMT_RGBA64, 41, 29, [](int x, int y) {
                return Test::Rgba {x * 1000, y * 2000, 777, (x + y) % 3 == 0 ? 65535 : 300 * x};
            }, 2.0)};
}

TEST(EditRegistry, EveryEntryRoundTripsAndAppliesToItsPredictedSize)
{
    const std::vector<DataVideoPtr> inputs = InputFrames();
    ASSERT_TRUE(inputs[0]);
    ASSERT_EQ(EditRegistry::GetOperations().size(), Rows().size()) << "a row for every entry, an entry for every row";
    for (const EditOperation* op : EditRegistry::GetOperations()) {
        SCOPED_TRACE(op->GetClassId());
        const auto row = Rows().find(op->GetClassId());
        ASSERT_NE(row, Rows().end()) << "no table row for this entry";
        const Proc::SettingsBase& sample = *row->second.sample;
        EXPECT_EQ(EditRegistry::Find(sample.GetClassId()), op);
        EXPECT_EQ(&EditRegistry::Get(sample), op);

        const pt::ptree saved = EditRegistry::Encode(sample);
        EXPECT_EQ(Text(saved), row->second.savedText);
        const auto back = EditRegistry::Decode(saved);
        ASSERT_TRUE(back);
        EXPECT_STREQ(back->GetClassId(), op->GetClassId());
        EXPECT_TRUE(EditRegistry::Equal(*back, sample));
        EXPECT_FALSE(EditRegistry::Equal(*row->second.other, sample));
        EXPECT_EQ(EditRegistry::RemovesAlpha(sample), row->second.removesAlpha);

        for (const DataVideoPtr& in : inputs) {
            SCOPED_TRACE(in->GetPixFmt());
            const Conf::FrameInfo predicted = op->ResultInfo(in->GetFrameInfo(), sample);
            const DataVideoPtr out = op->Apply(in, sample);
            ASSERT_TRUE(out);
            EXPECT_EQ(out->GetFrameInfo().width, predicted.width);
            EXPECT_EQ(out->GetFrameInfo().height, predicted.height);
            EXPECT_DOUBLE_EQ(out->GetFrameInfo().pixelAspect, predicted.pixelAspect);
            EXPECT_EQ(out->GetPixFmt(), in->GetPixFmt()) << "edits keep the working format";
            const bool opaque = Proc::AlphaRange::Of(*out).IsOpaque();
            EXPECT_EQ(opaque, in->IsOpaque() || row->second.removesAlpha);
            EXPECT_EQ(out->IsOpaque(), opaque) << "the opacity flag tells the truth";
        }
    }
}

TEST(EditRegistry, UnknownAndMalformedEditsAreRefusedWithAReason)
{
    const Proc::SettingsResizer resize; // a settings class the core does not edit with
    EXPECT_EQ(EditRegistry::Find(resize.GetClassId()), nullptr);
    EXPECT_FALSE(EditRegistry::RemovesAlpha(resize));
    EXPECT_FALSE(EditRegistry::Equal(resize, resize));
    auto expectReason = [](const std::function<void()>& call, const std::string& reason) {
        try {
            call();
            ADD_FAILURE() << "accepted; expected: " << reason;
        } catch (const Core::Exception& e) {
            EXPECT_NE(std::string(e.what()).find(reason), std::string::npos) << e.what();
        }
    };
    expectReason([&] { EditRegistry::Get(resize); }, "cannot apply \"Resize\" (Proc.Resizer)");
    expectReason([&] { EditRegistry::Encode(resize); }, "Proc.Resizer cannot be written");

    pt::ptree unknown;
    unknown.put("class", "Proc.Sharpen");
    expectReason([&] { EditRegistry::Decode(unknown); }, "Unknown edit \"Proc.Sharpen\"");
    expectReason([&] { EditRegistry::Decode(pt::ptree()); }, "Malformed edit settings");
    pt::ptree crop = EditRegistry::Encode(Proc::SettingsCrop(1, 2, 3, 4));
    crop.put("width", "wide");
    expectReason([&] { EditRegistry::Decode(crop); }, "Malformed edit settings");
    crop.erase("height");
    expectReason([&] { EditRegistry::Decode(crop); }, "Malformed edit settings");
    pt::ptree convert = EditRegistry::Encode(Proc::SettingsColorspaceConverter({2}, true));
    convert.get_child("formats").front().second.put_value("rgb");
    expectReason([&] { EditRegistry::Decode(convert); }, "Malformed edit settings");

    // A class the registry knows, with settings of another class passed to its entry.
    expectReason([&] { EditRegistry::Find(Proc::SettingsCrop::CLASS_ID)->Encode(resize, crop); }, "Proc.Resizer");
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore
