#pragma once

#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "photocore/IPhotoCoreIO.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra::PhotoCore {

class CoreEngine;

// The IO engine of one core: its source file and metadata, saving, the session folder and the
// selections. The metadata and save settings are plain values for the UI thread (not
// thread-safe); saves and session write-outs are jobs on the core's render thread.
class CoreIO : public IPhotoCoreIO {
public:
    CoreIO(std::shared_ptr<CoreEngine> engine, MetadataSettings metadata, SettingsSave saveSettings,
           boost::intrusive_ptr<PhotoUtil::ISerializer> serializer);

    MetadataSettings& GetMetadataSettings() override { return metadata_; }
    const MetadataSettings& GetMetadataSettings() const override { return metadata_; }

    ioPath GetFilePath() const override;
    std::string GetSessionId() const override;
    ioPath GetSessionFolder() const override;

    const SettingsSave& GetSaveSettings() const override { return saveSettings_; }
    std::uint64_t StartSave(const SettingsSave& settings) override;
    SaveResult Save(const SettingsSave& settings) override;
    ICoreEventHandler::CoreEventJobDone WaitForJob(std::uint64_t id) override;
    std::uint64_t SaveSession() override;
    bool IsSaved() const override;

    void StoreSelection(const ioPath& key, const Proc::DataVideoPtr& selection) override;
    Proc::DataVideoPtr LoadSelection(const ioPath& key) override;
    void ReleaseSelection(const ioPath& key) override;

    void MarkOpened() override;

    // The file a selection is kept in, inside the session folder.
    static std::string SelectionFileName(const ioPath& key);

private:
    std::shared_ptr<CoreEngine> engine_;
    MetadataSettings metadata_;
    SettingsSave saveSettings_;
    boost::intrusive_ptr<PhotoUtil::ISerializer> serializer_;
};

} // namespace Quelto::Lumindra::PhotoCore
