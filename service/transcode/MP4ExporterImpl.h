#pragma once

#include "Base/Media/Record.h"
#include "platform/MovieToolbox.h"
#include "service/include/MVMP4ExporterBase.h"
#include "service/transcode/AudioFileFunctions.h"

#include <functional>
#include <optional>

namespace mv {

class MVExtAudioFile;

/// What the exporter works with; a test puts its own in their place.
struct MP4ExporterTools {
    MovieToolbox* toolbox; ///< never null
    const AudioFileFunctions* audioFiles; ///< never null
    std::function<std::optional<Record>(const OpenedFile&)> describeMP3;
    std::function<std::optional<Record>(const OpenedFile&)> describeMP4;
    std::function<bool(EditableFile&, const Record&)> updateTag;

    /// The real ones: parsers and tag updater are made for the call.
    static MP4ExporterTools platform();
};

/// Exports movies, converts audio and looks for Apple Lossless. Entered on one thread, where the delegate is called.
/// That there is one job at a time is whoever's affair who has several (service/isolated).
class MP4ExporterImpl final : public MVMP4ExporterBase {
public:
    MP4ExporterImpl();
    explicit MP4ExporterImpl(MP4ExporterTools tools);

    /// The destination is replaced; when the export fails nothing is there. -50 where source or destination cannot be
    /// had, or where they are one file (which is left alone).
    std::int32_t exportWithDelegateFromPathToMp4Path(
        MVMP4ExporterDelegate* delegate, const OpenedFile& source, const SharedPlace& destination) override;
    /// A cancelled conversion leaves what was written until then, a playable file with the source's tags; one that
    /// fails leaves the destination as it was.
    std::int32_t convertToAacWithDelegateFromPathToMp4PathBitrate(MVMP4ExporterDelegate* delegate,
        const OpenedFile& source, const SharedPlace& destination, std::int32_t bitrate) override;
    bool isAlacAudio(const OpenedFile& file) override;

private:
    struct Conversion; // one that is under way

    OSStatus exportMovie(MVMP4ExporterDelegate* delegate, const OpenedFile& source, OutputPlace& destination);
    OSStatus convertMovie(Movie& movie, const DataReference& destination);
    bool hasAlacTrack(const OpenedFile& file);

    std::optional<Record> tagsOf(const OpenedFile& source) const;
    OSStatus openFiles(Conversion& job) const;
    void copyFrames(Conversion& job) const;
    OSStatus closeFiles(Conversion& job) const;

    MP4ExporterTools m_tools;
};

/// What the toolbox calls while it exports; `context` is the delegate. noErr to go on, -1 to cancel.
OSStatus myMovieProgressProc(
    Movie& movie, std::int16_t message, std::int16_t operation, Fixed percentDone, void* context);

} // namespace mv
