#pragma once

#include <string>

#include <QColor>
#include <QPointF>
#include <QRectF>

#include <boost/property_tree/ptree.hpp>

namespace Quelto::Lumindra::LumindraSceneItem {

// Reading and writing the values of a scene item's description (a property tree). Readers
// throw Core::Exception with a message that names the missing or malformed value, so that a
// damaged description is refused as a whole and never half-applied.
class ItemDescription {
public:
    static void WriteColor(boost::property_tree::ptree& out, const std::string& key, const QColor& color);
    static void WriteRect(boost::property_tree::ptree& out, const std::string& key, const QRectF& rect);
    static void WritePoint(boost::property_tree::ptree& out, const std::string& key, const QPointF& point);

    static std::string ReadString(const boost::property_tree::ptree& in, const std::string& key);
    // A finite number.
    static double ReadNumber(const boost::property_tree::ptree& in, const std::string& key);
    static double ReadNumber(const boost::property_tree::ptree& in, const std::string& key, double fallback);
    // Any colour name QColor accepts; invalid names are refused.
    static QColor ReadColor(const boost::property_tree::ptree& in, const std::string& key);
    // A rectangle with no negative side.
    static QRectF ReadRect(const boost::property_tree::ptree& in, const std::string& key);
    static QPointF ReadPoint(const boost::property_tree::ptree& in, const std::string& key);
};

} // namespace Quelto::Lumindra::LumindraSceneItem
