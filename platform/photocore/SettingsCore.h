#pragma once

#include <cstdint>
#include <string>

#include "photocore/FrameGeometry.h"
#include "proc/FrameInfo.h"

namespace Quelto::Lumindra::PhotoCore {

// General facts of a frame: the file it belongs to.
class GeneralFrameSettings {
public:
    const std::string& GetFileName() const { return fileName_; } // UTF-8; the file last saved to or opened
    void SetFileName(std::string name) { fileName_ = std::move(name); }

private:
    std::string fileName_;
};

// Values carried through from the source file unchanged.
class PassThroughSettings {
public:
    double GetResolution() const { return resolution_; } // pixels per inch; 72 when the file gives none
    void SetResolution(double dpi) { resolution_ = dpi; }

private:
    double resolution_ = 72.0;
};

// The settings of one frame of the drawer: its geometry, its file, its resolution.
class SettingsCore {
public:
    const Conf::FrameInfo& GetFrameInfo() const { return info_; }
    void SetFrameInfo(const Conf::FrameInfo& info) { info_ = info; }
    // Where the pixels of the image as opened lie in this frame; unknown when not set.
    const FrameGeometry& GetGeometry() const { return geometry_; }
    void SetGeometry(const FrameGeometry& geometry) { geometry_ = geometry; }
    const GeneralFrameSettings& GetGeneral() const { return general_; }
    GeneralFrameSettings& GetGeneral() { return general_; }
    const PassThroughSettings& GetPassThrough() const { return passThrough_; }
    PassThroughSettings& GetPassThrough() { return passThrough_; }
    int GetPixFmt() const { return pixFmt_; }       // the working format of the core
    void SetPixFmt(int pixFmt) { pixFmt_ = pixFmt; }
    std::uint64_t GetFileSize() const { return fileSize_; } // bytes of the source file; 0 without one
    void SetFileSize(std::uint64_t size) { fileSize_ = size; }

private:
    Conf::FrameInfo info_;
    FrameGeometry geometry_;
    GeneralFrameSettings general_;
    PassThroughSettings passThrough_;
    int pixFmt_ = -1;
    std::uint64_t fileSize_ = 0;
};

} // namespace Quelto::Lumindra::PhotoCore
