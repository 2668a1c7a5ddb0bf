#pragma once

#include "service/transcode/MP4ExporterImpl.h"

#include "Base/Core/NSException.h"
#include "Base/Media/MediaDB.h"
#include "service/transcode/MP4ExportSetting.h"
#include "tests/service/transcode/FakeAudioFiles.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv::test {

/// Notes percents, and refuses or raises where it is told.
class ExporterDelegate final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        if (raises)
            throw NSException(NSGenericException, "the client is gone");
        return percents.size() < refusedCall;
    }
    std::vector<std::int32_t> percents;
    std::size_t refusedCall = SIZE_MAX;
    bool raises = false;
};

/// Notes calls, and answers what it is told.
class FakeToolbox final : public MovieToolbox {
public:
    OSStatus newMovie = noErr;
    bool hasMovie = true;
    OSStatus settings = noErr;
    OSStatus convert = noErr;
    OSStatus reference = noErr;
    bool hasExporter = true;
    std::vector<QTTrack> tracks;
    std::vector<std::pair<std::int16_t, Fixed>> progress; ///< reported while converting, until one is refused

    std::vector<std::string> calls;
    Bytes container;
    std::vector<OSStatus> answers;

    OSStatus EnterMovies() override { return note("enter", noErr); }
    void ExitMovies() override { note("exit", noErr); }
    OSStatus QTNewDataReferenceFromFSRef(const FSRef& ref, DataReference& made) override
    {
        made.ref = ref;
        return note("reference " + std::string(ref.file.path().lastPathComponent()), reference);
    }
    OSStatus NewMovieFromDataRef(std::unique_ptr<Movie>& movie, std::int16_t flags, const DataReference& from) override
    {
        EXPECT_EQ(flags, 1);
        if (newMovie == noErr && hasMovie)
            movie = std::make_unique<Movie>(from, tracks);
        return note("open " + std::string(from.ref.file.path().lastPathComponent()), newMovie);
    }
    void SetMovieProgressProc(Movie& movie, MovieProgressProc proc, void* context) override
    {
        note("progress", noErr);
        MovieToolbox::SetMovieProgressProc(movie, proc, context);
    }
    std::unique_ptr<MovieExporter> OpenDefaultComponent(OSType type, OSType subtype) override
    {
        note("component " + fourCharacterText(type) + " " + fourCharacterText(subtype), noErr);
        return hasExporter ? std::make_unique<MovieExporter>() : nullptr;
    }
    OSStatus MovieExportSetSettingsFromAtomContainer(MovieExporter&, ByteView bytes) override
    {
        container.assign(bytes.begin(), bytes.end());
        return note("settings", settings);
    }
    OSStatus ConvertMovieToDataRef(Movie& movie, const DataReference& to, OSType fileType, OSType creator,
        std::uint32_t flags, MovieExporter&) override
    {
        const Path& path = to.ref.file.path();
        note(formatText("convert %s %s %s %08x", std::string(path.lastPathComponent()).c_str(),
                 fourCharacterText(fileType).c_str(), fourCharacterText(creator).c_str(), flags),
            noErr);
        destinationWasThere = std::filesystem::exists(path.text());
        for (auto [message, percent] : progress) {
            answers.push_back(movie.report(message, percent));
            if (answers.back() != noErr)
                return userCanceledErr;
        }
        return convert;
    }
    bool destinationWasThere = true;

private:
    OSStatus note(std::string call, OSStatus status)
    {
        calls.push_back(std::move(call));
        return status;
    }
};

/// An exporter whose toolbox and audio files are not there.
class MP4ExporterImplTest : public testing::Test {
protected:
    MP4ExporterTools tools()
    {
        return { &m_toolbox, &m_files,
            [this](const OpenedFile& file) {
                m_described.push_back("mp3 " + file.path().text());
                return m_tags;
            },
            [this](const OpenedFile& file) {
                m_described.push_back("mp4 " + file.path().text());
                return m_tags;
            },
            [this](EditableFile& file, const Record& record) {
                m_updated.emplace_back(file.opened().path().text(), record);
                return true;
            } };
    }
    std::int32_t convert(const Path& source = "/in.wav", std::int32_t bitrate = 96000, bool withDelegate = true)
    {
        return m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
            withDelegate ? &m_delegate : nullptr, OpenedFile::at(source), OutputPlace::at("/out.m4a"), bitrate);
    }
    std::int32_t exportMovie(bool withDelegate = true)
    {
        return exportMovie(m_source, m_target, withDelegate ? &m_delegate : nullptr);
    }
    std::int32_t exportMovie(const Path& source, const Path& target, MVMP4ExporterDelegate* delegate = nullptr)
    {
        return m_exporter.exportWithDelegateFromPathToMp4Path(
            delegate, OpenedFile::at(source), OutputPlace::at(target));
    }

    ScratchFolder m_scratch;
    std::string m_source = m_scratch.write("in.mov", "movie");
    std::string m_target = m_scratch.file("out.mp4");
    FakeAudioFiles m_files;
    FakeToolbox m_toolbox;
    ExporterDelegate m_delegate;
    LogCapture m_log;
    std::optional<Record> m_tags;
    std::vector<std::string> m_described;
    std::vector<std::pair<std::string, Record>> m_updated;
    MP4ExporterImpl m_exporter { tools() };
};

} // namespace mv::test
