#include "photocore/EditRegistry.h"

#include <algorithm>
#include <tuple>

#include <boost/property_tree/ptree.hpp>

#include "core/Exception.h"
#include "photocore/FrameGeometry.h"
#include "photocore/FrameOps.h"

namespace Quelto::Lumindra::PhotoCore {

namespace pt = boost::property_tree;

namespace {

using Proc::DataVideoPtr;

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

// An entry for settings class S: the casts are done once here, the entries below see S only.
template <class S>
class TypedOperation : public EditOperation {
public:
    const char* GetClassId() const final { return S::CLASS_ID; }
    Conf::FrameInfo ResultInfo(const Conf::FrameInfo& info, const Proc::SettingsBase& settings) const final
    {
        return Size(info, Cast(settings));
    }
    DataVideoPtr Apply(const DataVideoPtr& source, const Proc::SettingsBase& settings) const final
    {
        return Run(source, Cast(settings));
    }
    void Encode(const Proc::SettingsBase& settings, pt::ptree& tree) const final { Write(Cast(settings), tree); }
    std::unique_ptr<Proc::SettingsBase> Decode(const pt::ptree& tree) const final { return Parse(tree); }
    bool Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b) const final
    {
        return Values(Cast(a)) == Values(Cast(b));
    }
    bool RemovesAlpha(const Proc::SettingsBase& settings) const final { return DropsAlpha(Cast(settings)); }
    void MapGeometry(FrameGeometry& geometry, const Proc::SettingsBase& settings) const final
    {
        Move(geometry, Cast(settings));
    }

protected:
    virtual Conf::FrameInfo Size(const Conf::FrameInfo& info, const S&) const { return info; }
    virtual DataVideoPtr Run(const DataVideoPtr& source, const S& settings) const = 0;
    virtual void Write(const S& settings, pt::ptree& tree) const = 0;
    virtual std::unique_ptr<S> Parse(const pt::ptree& tree) const = 0;
    virtual bool DropsAlpha(const S&) const { return false; }
    virtual void Move(FrameGeometry&, const S&) const {}
    // Every value that makes an edit what it is, as a tuple compared by Equal.
    static auto Values(const S& settings);

private:
    static const S& Cast(const Proc::SettingsBase& settings)
    {
        const auto* own = dynamic_cast<const S*>(&settings);
        if (!own)
            throw Core::Exception(std::string("Edit settings of class ") + settings.GetClassId() + " given to the "
                                  + S::CLASS_ID + " edit");
        return *own;
    }
};

template <>
auto TypedOperation<Proc::SettingsRotate>::Values(const Proc::SettingsRotate& s)
{
    return std::tie(s.quarterTurns);
}

template <>
auto TypedOperation<Proc::SettingsFlip>::Values(const Proc::SettingsFlip& s)
{
    return std::tie(s.horizontal);
}

template <>
auto TypedOperation<Proc::SettingsCrop>::Values(const Proc::SettingsCrop& s)
{
    return std::tie(s.x, s.y, s.width, s.height);
}

template <>
auto TypedOperation<Proc::SettingsAdjust>::Values(const Proc::SettingsAdjust& s)
{
    return std::tie(s.exposure, s.contrast, s.saturation);
}

template <>
auto TypedOperation<Proc::SettingsColorspaceConverter>::Values(const Proc::SettingsColorspaceConverter& s)
{
    return std::tie(s.formats, s.flattenAlpha, s.padR, s.padG, s.padB);
}

class RotateOperation : public TypedOperation<Proc::SettingsRotate> {
    Conf::FrameInfo Size(const Conf::FrameInfo& info, const Proc::SettingsRotate& s) const override
    {
        Conf::FrameInfo out = info;
        if (s.quarterTurns % 2 != 0) { // the axes swap: a quarter turn turns a pixel's aspect too
            std::swap(out.width, out.height);
            out.pixelAspect = info.pixelAspect > 0.0 ? 1.0 / info.pixelAspect : 1.0;
        }
        return out;
    }
    DataVideoPtr Run(const DataVideoPtr& source, const Proc::SettingsRotate& s) const override
    {
        return FrameOps::Rotate(*source, s.quarterTurns);
    }
    void Move(FrameGeometry& geometry, const Proc::SettingsRotate& s) const override { geometry.Rotate(s.quarterTurns); }
    void Write(const Proc::SettingsRotate& s, pt::ptree& tree) const override { tree.put("quarterTurns", s.quarterTurns); }
    std::unique_ptr<Proc::SettingsRotate> Parse(const pt::ptree& tree) const override
    {
        return std::make_unique<Proc::SettingsRotate>(Read<int>(tree, "quarterTurns"));
    }
};

class FlipOperation : public TypedOperation<Proc::SettingsFlip> {
    DataVideoPtr Run(const DataVideoPtr& source, const Proc::SettingsFlip& s) const override
    {
        return FrameOps::Flip(*source, s.horizontal);
    }
    void Move(FrameGeometry& geometry, const Proc::SettingsFlip& s) const override { geometry.Flip(s.horizontal); }
    void Write(const Proc::SettingsFlip& s, pt::ptree& tree) const override { tree.put("horizontal", s.horizontal); }
    std::unique_ptr<Proc::SettingsFlip> Parse(const pt::ptree& tree) const override
    {
        return std::make_unique<Proc::SettingsFlip>(Read<bool>(tree, "horizontal"));
    }
};

class CropOperation : public TypedOperation<Proc::SettingsCrop> {
    Conf::FrameInfo Size(const Conf::FrameInfo& info, const Proc::SettingsCrop& s) const override
    {
        return FrameOps::CropInfo(info, s.x, s.y, s.width, s.height);
    }
    DataVideoPtr Run(const DataVideoPtr& source, const Proc::SettingsCrop& s) const override
    {
        return FrameOps::Crop(*source, s.x, s.y, s.width, s.height);
    }
    void Move(FrameGeometry& geometry, const Proc::SettingsCrop& s) const override
    {
        geometry.Crop(s.x, s.y, s.width, s.height);
    }
    void Write(const Proc::SettingsCrop& s, pt::ptree& tree) const override
    {
        tree.put("x", s.x);
        tree.put("y", s.y);
        tree.put("width", s.width);
        tree.put("height", s.height);
    }
    std::unique_ptr<Proc::SettingsCrop> Parse(const pt::ptree& tree) const override
    {
        return std::make_unique<Proc::SettingsCrop>(Read<int>(tree, "x"), Read<int>(tree, "y"),
                                                    Read<int>(tree, "width"), Read<int>(tree, "height"));
    }
};

class AdjustOperation : public TypedOperation<Proc::SettingsAdjust> {
    DataVideoPtr Run(const DataVideoPtr& source, const Proc::SettingsAdjust& s) const override
    {
        return s.IsIdentity() ? source : FrameOps::Adjust(*source, s);
    }
    void Write(const Proc::SettingsAdjust& s, pt::ptree& tree) const override
    {
        tree.put("exposure", s.exposure);
        tree.put("contrast", s.contrast);
        tree.put("saturation", s.saturation);
    }
    std::unique_ptr<Proc::SettingsAdjust> Parse(const pt::ptree& tree) const override
    {
        auto adjust = std::make_unique<Proc::SettingsAdjust>();
        adjust->exposure = Read<double>(tree, "exposure");
        adjust->contrast = Read<double>(tree, "contrast");
        adjust->saturation = Read<double>(tree, "saturation");
        return adjust;
    }
};

// In the core the working format stays: what the conversion changes is that alpha is gone.
class ConvertOperation : public TypedOperation<Proc::SettingsColorspaceConverter> {
    DataVideoPtr Run(const DataVideoPtr& source, const Proc::SettingsColorspaceConverter& s) const override
    {
        if (!DropsAlpha(s) || source->IsOpaque())
            return source;
        return FrameOps::Flatten(*source, s.padR, s.padG, s.padB);
    }
    bool DropsAlpha(const Proc::SettingsColorspaceConverter& s) const override
    {
        const bool targetHasAlpha = !s.formats.empty() && Proc::HasAlphaChannel(s.formats.front());
        return s.flattenAlpha && !targetHasAlpha;
    }
    void Write(const Proc::SettingsColorspaceConverter& s, pt::ptree& tree) const override
    {
        pt::ptree formats;
        for (int format : s.formats) {
            pt::ptree item;
            item.put_value(format);
            formats.push_back({"", item});
        }
        tree.add_child("formats", formats);
        tree.put("flattenAlpha", s.flattenAlpha);
        tree.put("padR", int(s.padR));
        tree.put("padG", int(s.padG));
        tree.put("padB", int(s.padB));
    }
    std::unique_ptr<Proc::SettingsColorspaceConverter> Parse(const pt::ptree& tree) const override
    {
        auto convert = std::make_unique<Proc::SettingsColorspaceConverter>();
        try {
            if (const auto formats = tree.get_child_optional("formats"))
                for (const auto& item : *formats)
                    convert->formats.push_back(item.second.get_value<int>());
        } catch (const pt::ptree_error& e) {
            throw Core::Exception(std::string("Malformed edit settings: ") + e.what());
        }
        convert->flattenAlpha = Read<bool>(tree, "flattenAlpha");
        convert->SetPadColor(std::uint8_t(Read<int>(tree, "padR")), std::uint8_t(Read<int>(tree, "padG")),
                             std::uint8_t(Read<int>(tree, "padB")));
        return convert;
    }
};

struct Table {
    RotateOperation rotate;
    FlipOperation flip;
    CropOperation crop;
    AdjustOperation adjust;
    ConvertOperation convert;
    std::vector<const EditOperation*> all {&rotate, &flip, &crop, &adjust, &convert};
};

const Table& GetTable()
{
    static const Table table;
    return table;
}

} // namespace

const std::vector<const EditOperation*>& EditRegistry::GetOperations()
{
    return GetTable().all;
}

const EditOperation* EditRegistry::Find(const std::string& classId)
{
    const auto& all = GetOperations();
    const auto it = std::find_if(all.begin(), all.end(), [&](const EditOperation* op) { return classId == op->GetClassId(); });
    return it == all.end() ? nullptr : *it;
}

const EditOperation& EditRegistry::Get(const Proc::SettingsBase& settings)
{
    const EditOperation* op = Find(settings.GetClassId());
    if (!op)
        throw Core::Exception("The editing core cannot apply \"" + settings.GetDisplayName() + "\" ("
                              + settings.GetClassId() + ")");
    return *op;
}

pt::ptree EditRegistry::Encode(const Proc::SettingsBase& settings)
{
    const std::string id = settings.GetClassId();
    const EditOperation* op = Find(id);
    if (!op)
        throw Core::Exception("Edit settings of class " + id + " cannot be written");
    pt::ptree tree;
    tree.put(kClass, id);
    op->Encode(settings, tree);
    return tree;
}

std::unique_ptr<Proc::SettingsBase> EditRegistry::Decode(const pt::ptree& tree)
{
    const std::string id = Read<std::string>(tree, kClass);
    const EditOperation* op = Find(id);
    if (!op)
        throw Core::Exception("Unknown edit \"" + id + "\" in the saved history");
    return op->Decode(tree);
}

bool EditRegistry::Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b)
{
    if (std::string(a.GetClassId()) != b.GetClassId())
        return false;
    const EditOperation* op = Find(a.GetClassId());
    return op && op->Equal(a, b);
}

bool EditRegistry::RemovesAlpha(const Proc::SettingsBase& settings)
{
    const EditOperation* op = Find(settings.GetClassId());
    return op && op->RemovesAlpha(settings);
}

} // namespace Quelto::Lumindra::PhotoCore
