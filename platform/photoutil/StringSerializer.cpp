#include "photoutil/StringSerializer.h"

#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "core/Exception.h"

namespace Quelto::Lumindra::PhotoUtil {

std::string StringSerializer::SerializeToString(const ISerializable& object) const
{
    boost::property_tree::ptree tree;
    object.Serialize(tree);
    std::ostringstream out;
    try {
        boost::property_tree::write_json(out, tree, false);
    } catch (const boost::property_tree::ptree_error& error) {
        throw Core::Exception(std::string("Cannot write the object as text: ") + error.what());
    }
    return out.str();
}

void StringSerializer::DeserializeFromString(const std::string& text, ISerializable& object) const
{
    boost::property_tree::ptree tree;
    std::istringstream in(text);
    try {
        boost::property_tree::read_json(in, tree);
    } catch (const boost::property_tree::json_parser_error& error) {
        throw Core::Exception("The text is not valid JSON (line " + std::to_string(error.line())
                              + "): " + error.message());
    }
    try {
        object.Deserialize(tree);
    } catch (const Core::Exception&) {
        throw;
    } catch (const boost::property_tree::ptree_error& error) {
        // A value of the wrong type or a missing entry: the text is well-formed but not this object.
        throw Core::Exception(std::string("The text does not describe this object: ") + error.what());
    }
}

boost::intrusive_ptr<ISerializer> CreateStringSerializer()
{
    return boost::intrusive_ptr<ISerializer>(new StringSerializer());
}

} // namespace Quelto::Lumindra::PhotoUtil
