#include "sceneitem/ItemDescription.h"

#include <cmath>

#include "core/Exception.h"

namespace Quelto::Lumindra::LumindraSceneItem {

namespace pt = boost::property_tree;

void ItemDescription::WriteColor(pt::ptree& out, const std::string& key, const QColor& color)
{
    out.put(key, color.name(QColor::HexArgb).toStdString());
}

void ItemDescription::WriteRect(pt::ptree& out, const std::string& key, const QRectF& rect)
{
    pt::ptree node;
    node.put("x", rect.x());
    node.put("y", rect.y());
    node.put("width", rect.width());
    node.put("height", rect.height());
    out.put_child(key, node);
}

void ItemDescription::WritePoint(pt::ptree& out, const std::string& key, const QPointF& point)
{
    pt::ptree node;
    node.put("x", point.x());
    node.put("y", point.y());
    out.put_child(key, node);
}

std::string ItemDescription::ReadString(const pt::ptree& in, const std::string& key)
{
    const boost::optional<std::string> value = in.get_optional<std::string>(key);
    if (!value)
        throw Core::Exception("The scene item description has no value \"" + key + "\"");
    return *value;
}

double ItemDescription::ReadNumber(const pt::ptree& in, const std::string& key)
{
    const std::string text = ReadString(in, key);
    const boost::optional<double> value = in.get_optional<double>(key);
    if (!value || !std::isfinite(*value))
        throw Core::Exception("The scene item description has no number in \"" + key + "\": \"" + text + "\"");
    return *value;
}

double ItemDescription::ReadNumber(const pt::ptree& in, const std::string& key, double fallback)
{
    if (!in.get_optional<std::string>(key))
        return fallback;
    return ReadNumber(in, key);
}

QColor ItemDescription::ReadColor(const pt::ptree& in, const std::string& key)
{
    const std::string text = ReadString(in, key);
    const QColor color(QString::fromStdString(text));
    if (!color.isValid())
        throw Core::Exception("The scene item description has no colour in \"" + key + "\": \"" + text + "\"");
    return color;
}

QRectF ItemDescription::ReadRect(const pt::ptree& in, const std::string& key)
{
    const boost::optional<const pt::ptree&> node = in.get_child_optional(key);
    if (!node)
        throw Core::Exception("The scene item description has no rectangle \"" + key + "\"");
    const QRectF rect(ReadNumber(*node, "x"), ReadNumber(*node, "y"), ReadNumber(*node, "width"),
                      ReadNumber(*node, "height"));
    if (rect.width() < 0 || rect.height() < 0)
        throw Core::Exception("The scene item description has a rectangle \"" + key + "\" of negative size");
    return rect;
}

QPointF ItemDescription::ReadPoint(const pt::ptree& in, const std::string& key)
{
    const boost::optional<const pt::ptree&> node = in.get_child_optional(key);
    if (!node)
        throw Core::Exception("The scene item description has no point \"" + key + "\"");
    return QPointF(ReadNumber(*node, "x"), ReadNumber(*node, "y"));
}

} // namespace Quelto::Lumindra::LumindraSceneItem
