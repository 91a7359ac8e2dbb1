#pragma once

#include <map>
#include <string>

namespace Quelto::Lumindra::PhotoCore {

// Receives usage statistics: an event name and its parameters. Called on the UI thread.
class IStatisticsEventHandler {
public:
    using Parameters = std::map<std::string, std::string>;

    // Event names.
    static constexpr const char* NAME_SAVING_IMAGE = "saving_image";
    static constexpr const char* NAME_FILE_OPEN_ERROR = "file_open_error";

    // Keys.
    static constexpr const char* KEY_FILE_NAME = "file_name";
    static constexpr const char* KEY_INPUT_FORMAT = "input_format";
    static constexpr const char* KEY_RESOLUTION = "resolution";
    static constexpr const char* KEY_SAVING_IMAGE_SAVING_TYPE = "saving_type";
    static constexpr const char* KEY_RESULT = "result";
    static constexpr const char* KEY_SIZE = "size_kib";
    static constexpr const char* KEY_SAVING_IMAGE_OUTPUT_FORMAT = "output_format";
    static constexpr const char* KEY_WIDTH = "width";
    static constexpr const char* KEY_HEIGHT = "height";
    static constexpr const char* KEY_SAVING_IMAGE_DEL_METADATA_CHHANGED = "del_metadata_changed";
    static constexpr const char* KEY_SAVING_IMAGE_DEL_GPS_DATA_CHANGED = "del_gps_data_changed";
    static constexpr const char* KEY_SAVING_IMAGE_AUTHOR_CHANGED = "author_changed";
    static constexpr const char* KEY_SAVING_IMAGE_DESCRIPTION_CHANGED = "description_changed";
    static constexpr const char* KEY_EDITS = "edits";

    // Values.
    static constexpr const char* VAL_SAVING_IMAGE_SAVING_TYPE_WINDOW = "window";
    static constexpr const char* VAL_TYPE_OTHER = "other";
    static constexpr const char* VAL_RESULT_SUCCESS = "success";
    static constexpr const char* VAL_RESULT_CANCEL = "cancel";
    static constexpr const char* VAL_RESULT_FAILURE = "failure";
    static constexpr const char* VAL_YES = "yes";
    static constexpr const char* VAL_NO = "no";
    static constexpr const char* VAL_SAVING_IMAGE_METADATA_CHANGED_ADD = "add";
    static constexpr const char* VAL_SAVING_IMAGE_METADATA_CHANGED_EDIT = "edit";
    static constexpr const char* VAL_SAVING_IMAGE_METADATA_CHANGED_DELETE = "delete";

    virtual ~IStatisticsEventHandler() = default;
    virtual void HandleStatisticsEvent(const std::string& name, const Parameters& parameters) = 0;
    virtual void Flush() = 0;
    // A workspace controller was created and will report through this handler.
    virtual void OnControllerCreated() = 0;
};

} // namespace Quelto::Lumindra::PhotoCore
