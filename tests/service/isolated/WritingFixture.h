#pragma once

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/MediaTag.h"
#include "service/transcode/MP4ExporterImpl.h"
#include "service/transcode/Mp3EncodingJob.h"
#include "tests/service/isolated/NotingDelegates.h"
#include "tests/service/isolated/WritingWorker.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace mv::test {

/// Calls as the host makes them, each with a worker of its own.
class WritingFixture : public testing::Test {
protected:
    WritingAnswer answer(const WritingJob& job, WritingParts parts)
    {
        WritingWorker worker(side, kind);
        WritingAnswer given = worker.run(job, parts);
        lines = worker.lines();
        return given;
    }
    WritingAnswer update(const std::string& path, const Record& record)
    {
        auto file = EditableFile::at(path);
        return answer({ .operation = WritingOperation::UpdateTag, .file = file->opened(), .record = record },
            { .file = file.get() });
    }
    WritingAnswer encode(
        const std::string& input, const std::string& output, const Record& attributes, NotingListener& listener)
    {
        auto place = OutputPlace::at(output);
        return answer({ .operation = WritingOperation::EncodeMp3, .file = OpenedFile::at(input), .record = attributes },
            { .place = place.get(), .listener = &listener });
    }
    WritingAnswer convert(
        const std::string& input, const std::string& output, std::int32_t bitrate, NotingDelegate* delegate)
    {
        auto place = OutputPlace::at(output);
        return answer(
            { .operation = WritingOperation::ConvertToAac, .file = OpenedFile::at(input), .bitrate = bitrate },
            { .place = place.get(), .delegate = delegate });
    }
    WritingAnswer exportMovie(const std::string& input, const std::string& output, NotingDelegate* delegate)
    {
        auto place = OutputPlace::at(output);
        return answer({ .operation = WritingOperation::ExportMovie, .file = OpenedFile::at(input) },
            { .place = place.get(), .delegate = delegate });
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(scratch.path()))
            found.push_back(entry.path().filename());
        return found;
    }
    std::string wave(const std::string& name, std::size_t bytes = 400'000) const
    {
        return scratch.write(name, WaveMaker().format(1, 2, 44100, 16).sound(bytes).bytes());
    }
    std::string made(const std::string& name, const std::string& options) const
    {
        std::string path = scratch.file(name);
        outputOf("ffmpeg -v error " + options + " -fflags +bitexact -y " + shellQuoted(path));
        return path;
    }
    std::string movie(const std::string& name, const std::string& options = "") const
    {
        return made(name, "-f lavfi -i testsrc=d=2:s=160x120:r=25 -f lavfi -i sine=d=2:r=44100 " + options);
    }

    WorkerSide side = WorkerSide::Closed;
    WorkerKind kind = WorkerKind::Media;
    ScratchFolder scratch;
    LogCapture log;
    std::vector<std::string> lines; // of the worker, where it is a process
};

/// Values for every kind of field, with a picture of so many bytes.
inline Record tagRecord(std::int32_t mediaType, std::size_t pictureBytes = 0)
{
    Record record { { MediaDBCommonColumnMediaType, mediaType }, { MediaDBMusicColumnTitle, "A new title" },
        { MediaDBMusicColumnArtist, std::string("\xEA\xB0\x80") }, { MediaDBMusicColumnTrackNo, 7 } };
    if (pictureBytes > 0) {
        Bytes picture = readFile(sourcePath("tests/data/tags/red.jpg"));
        picture.resize(std::max(pictureBytes, picture.size())); // a JPEG may have anything behind its end
        record.set(MediaDBMusicColumnAlbumArt, std::move(picture));
    }
    return record;
}

/// The same call without a worker.
inline bool updatedHere(const std::string& path, const Record& record)
{
    return MediaTag().updateTagWithDictionary(*EditableFile::at(path), record);
}

} // namespace mv::test
