#include "tests/client/FakeServices.h"
#include "tests/support/PrivateBus.h"

#include <future>
#include <gmock/gmock.h>
#include <mivo/mivo.h>

namespace mivo {
namespace {

using mv::test::Served;
using ExporterServed = Served<mv::MP4ExporterAdaptor, mv::test::FakeExporter>;
using EncoderServed = Served<mv::AudioEncoderAdaptor, mv::test::FakeEncoder>;

class LibraryJob : public testing::Test {
protected:
    mv::test::PrivateBus m_privateBus;
    Client m_client { ClientOptions().startService(false) };
    std::vector<int> m_percents;

    Progress noting(int stopAt = 1000)
    {
        return [this, stopAt](int percent) {
            if (m_percents.empty() || m_percents.back() != percent)
                m_percents.push_back(percent);
            return percent < stopAt;
        };
    }
};

TEST_F(LibraryJob, ExportsReportTheirProgress)
{
    ExporterServed service(mv::MP4ExporterService);
    service->percents = { 1, 50, 100 };
    EXPECT_EQ(m_client.exportToMp4("/a.mov", "/b.mp4", noting()), JobEnd::Done);
    EXPECT_THAT(m_percents, testing::ElementsAre(1, 50, 100));
    EXPECT_EQ(m_client.exportToMp4("/a.mov", "/b.mp4"), JobEnd::Done);
    EXPECT_FALSE(service->sawDelegate);
    EXPECT_TRUE(m_client.isAppleLossless("/a.m4a"));
    EXPECT_FALSE(m_client.isAppleLossless("/a.mp3"));
}

TEST_F(LibraryJob, AConversionIsCancelledByItsProgress)
{
    ExporterServed service(mv::MP4ExporterService);
    service->percents = { 10, 20, 30 };
    EXPECT_EQ(m_client.convertToAac("/a.wav", "/b.m4a", 96000, noting(20)), JobEnd::Cancelled);
    EXPECT_THAT(m_percents, testing::ElementsAre(10, 20));
    EXPECT_EQ(service->seenBitrate, 96000);
}

TEST_F(LibraryJob, AJobsCodeIsAnError)
{
    ExporterServed service(mv::MP4ExporterService);
    service->code = -2048;
    try {
        m_client.exportToMp4("/a.mov", "/b.mp4");
        FAIL() << "nothing thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::JobFailed);
        EXPECT_EQ(error.code(), -2048);
        EXPECT_THAT(error.what(), testing::StartsWith("the input is no movie that can be read"));
    }
}

TEST_F(LibraryJob, ABitRateThatIsNoneIsAnError)
{
    for (int bitrate : { 0, 999, 256001 }) {
        EXPECT_THROW(m_client.convertToAac("/a.wav", "/b.m4a", bitrate), Error) << bitrate;
    }
}

TEST_F(LibraryJob, WhatAProgressThrowsCancelsAndComesOut)
{
    struct Own { };
    Progress throwing = [](int) -> bool { throw Own(); };
    ExporterServed exporter(mv::MP4ExporterService);
    exporter->percents = { 10, 20, 30 };
    EXPECT_THROW(m_client.exportToMp4("/a.mov", "/b.mp4", throwing), Own);
    EncoderServed encoder(mv::Mp3EncoderService);
    EXPECT_THROW(m_client.encode("/a.wav", "/b.mp3", {}, throwing), Own);
    EXPECT_EQ(m_client.encode("/a.wav", "/b.mp3"), JobEnd::Done) << "the client is of use afterwards";
}

TEST_F(LibraryJob, AProgressMayNotCallItsOwnClient)
{
    ExporterServed service(mv::MP4ExporterService);
    service->percents = { 10 };
    Error::Kind kind = Error::Kind::Failed;
    m_client.exportToMp4("/a.mov", "/b.mp4", [&](int) {
        try {
            m_client.isAppleLossless("/a.m4a");
        } catch (const Error& error) {
            kind = error.kind();
        }
        return true;
    });
    EXPECT_EQ(kind, Error::Kind::Busy);
}

TEST_F(LibraryJob, EncodesWithItsAttributesAndPutsTheFormerBack)
{
    EncoderServed service(mv::Mp3EncoderService);
    service->own.set(mv::MVAudioEncoderBitrateAttribute, 128000);
    mv::Record during;
    Progress looking = [&](int percent) {
        during = service->own;
        return noting()(percent);
    };
    EXPECT_EQ(m_client.encode("/a.wav", "/a.mp3", { { keys::encoder::VariableBitrate, true } }, looking), JobEnd::Done);
    EXPECT_THAT(m_percents, testing::ElementsAre(0, 25, 50, 75));
    EXPECT_EQ(during.integer(mv::MVAudioEncoderBitrateAttribute), 192000);
    EXPECT_EQ(during.boolean(mv::MVAudioEncoderVBRAttribute), true);
    EXPECT_EQ(during.boolean(mv::MVAudioEncoderExactConversionAttribute), true);
    EXPECT_EQ(service->own.integer(mv::MVAudioEncoderBitrateAttribute), 128000);
    EXPECT_EQ(service->own.boolean(mv::MVAudioEncoderVBRAttribute), false);
}

TEST_F(LibraryJob, AnEncodingIsCancelledByItsProgress)
{
    EncoderServed service(mv::Mp3EncoderService);
    EXPECT_EQ(m_client.encode("/a.wav", "/a.mp3", {}, noting(50)), JobEnd::Cancelled);
    EXPECT_THAT(m_percents, testing::ElementsAre(0, 25, 50));
}

TEST_F(LibraryJob, AnEncodingThatFailsIsAnErrorWithItsCode)
{
    EncoderServed service(mv::Mp3EncoderService);
    try {
        m_client.encode("/fail-4", "/a.mp3");
        FAIL() << "nothing thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::JobFailed);
        EXPECT_EQ(error.code(), 4);
        EXPECT_THAT(error.what(), testing::StartsWith("the output cannot be opened for writing"));
    }
}

TEST_F(LibraryJob, WhatIsNoAttributeIsAnError)
{
    EXPECT_THROW(m_client.encode("/a.wav", "/a.mp3", { { "Bitrate", 128000 } }), Error);
    EXPECT_THROW(m_client.encode("/a.wav", "/a.mp3", { { keys::encoder::Bitrate, "128000" } }), Error);
    EXPECT_THROW(m_client.encode("/a.wav", "/a.mp3", { { keys::encoder::VariableBitrate, 1 } }), Error);
}

TEST_F(LibraryJob, ClientsOnThreadsEncodeAtTheSameTime)
{
    EncoderServed service(mv::Mp3EncoderService);
    const mv::Record before = service->own;
    constexpr int Threads = 4;
    std::vector<std::future<std::vector<int>>> jobs;
    for (int i = 0; i < Threads; ++i) {
        jobs.push_back(std::async(std::launch::async, [i] {
            std::vector<int> percents;
            Client client(ClientOptions().startService(false));
            std::string name = "/" + std::to_string(i);
            client.encode(name + ".wav", name + ".mp3", {}, [&](int percent) {
                percents.push_back(percent);
                return true;
            });
            return percents;
        }));
    }
    for (auto& job : jobs)
        EXPECT_THAT(job.get(), testing::ElementsAre(0, 25, 50, 75));
    EXPECT_EQ(
        service->own.integer(mv::MVAudioEncoderBitrateAttribute), before.integer(mv::MVAudioEncoderBitrateAttribute));
}

} // namespace
} // namespace mivo
