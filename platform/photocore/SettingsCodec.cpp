#include "photocore/SettingsCodec.h"

#include <string>

#include <boost/property_tree/ptree.hpp>

#include "core/Exception.h"

namespace Quelto::Lumindra::PhotoCore {

namespace pt = boost::property_tree;

namespace {

constexpr const char* kClass = "class";

template <class T>
T Read(const pt::ptree& tree, const char* key)
{
    try {
        return tree.get<T>(key);
    } catch (const pt::ptree_error& e) {
        throw Core::Exception(std::string("Malformed edit settings: ") + e.what());
    }
}

} // namespace

pt::ptree SettingsCodec::ToTree(const Proc::SettingsBase& settings)
{
    pt::ptree tree;
    const std::string id = settings.GetClassId();
    tree.put(kClass, id);
    if (id == Proc::SettingsRotate::CLASS_ID) {
        tree.put("quarterTurns", static_cast<const Proc::SettingsRotate&>(settings).quarterTurns);
    } else if (id == Proc::SettingsFlip::CLASS_ID) {
        tree.put("horizontal", static_cast<const Proc::SettingsFlip&>(settings).horizontal);
    } else if (id == Proc::SettingsCrop::CLASS_ID) {
        const auto& crop = static_cast<const Proc::SettingsCrop&>(settings);
        tree.put("x", crop.x);
        tree.put("y", crop.y);
        tree.put("width", crop.width);
        tree.put("height", crop.height);
    } else if (id == Proc::SettingsAdjust::CLASS_ID) {
        const auto& adjust = static_cast<const Proc::SettingsAdjust&>(settings);
        tree.put("exposure", adjust.exposure);
        tree.put("contrast", adjust.contrast);
        tree.put("saturation", adjust.saturation);
    } else if (id == Proc::SettingsColorspaceConverter::CLASS_ID) {
        const auto& convert = static_cast<const Proc::SettingsColorspaceConverter&>(settings);
        pt::ptree formats;
        for (int format : convert.formats) {
            pt::ptree item;
            item.put_value(format);
            formats.push_back({"", item});
        }
        tree.add_child("formats", formats);
        tree.put("flattenAlpha", convert.flattenAlpha);
        tree.put("padR", int(convert.padR));
        tree.put("padG", int(convert.padG));
        tree.put("padB", int(convert.padB));
    } else {
        throw Core::Exception("Edit settings of class " + id + " cannot be written");
    }
    return tree;
}

std::unique_ptr<Proc::SettingsBase> SettingsCodec::FromTree(const pt::ptree& tree)
{
    const std::string id = Read<std::string>(tree, kClass);
    if (id == Proc::SettingsRotate::CLASS_ID)
        return std::make_unique<Proc::SettingsRotate>(Read<int>(tree, "quarterTurns"));
    if (id == Proc::SettingsFlip::CLASS_ID)
        return std::make_unique<Proc::SettingsFlip>(Read<bool>(tree, "horizontal"));
    if (id == Proc::SettingsCrop::CLASS_ID)
        return std::make_unique<Proc::SettingsCrop>(Read<int>(tree, "x"), Read<int>(tree, "y"),
                                                    Read<int>(tree, "width"), Read<int>(tree, "height"));
    if (id == Proc::SettingsAdjust::CLASS_ID) {
        auto adjust = std::make_unique<Proc::SettingsAdjust>();
        adjust->exposure = Read<double>(tree, "exposure");
        adjust->contrast = Read<double>(tree, "contrast");
        adjust->saturation = Read<double>(tree, "saturation");
        return adjust;
    }
    if (id == Proc::SettingsColorspaceConverter::CLASS_ID) {
        auto convert = std::make_unique<Proc::SettingsColorspaceConverter>();
        if (const auto formats = tree.get_child_optional("formats"))
            for (const auto& item : *formats)
                convert->formats.push_back(item.second.get_value<int>());
        convert->flattenAlpha = Read<bool>(tree, "flattenAlpha");
        convert->SetPadColor(std::uint8_t(Read<int>(tree, "padR")), std::uint8_t(Read<int>(tree, "padG")),
                             std::uint8_t(Read<int>(tree, "padB")));
        return convert;
    }
    throw Core::Exception("Unknown edit \"" + id + "\" in the saved history");
}

bool SettingsCodec::Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b)
{
    if (std::string(a.GetClassId()) != b.GetClassId())
        return false;
    try {
        return ToTree(a) == ToTree(b);
    } catch (const Core::Exception&) {
        return false;
    }
}

} // namespace Quelto::Lumindra::PhotoCore
