#include "service/encoding/SoundEncoding.h"

#include "facts/reading/Describe.h"
#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace mv {
namespace {

/// Hears of progress, and ends a job at some percent.
class Witness final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        EXPECT_GT(percent, last);
        last = percent;
        return percent < stopAt;
    }
    std::int32_t last = 0;
    std::int32_t stopAt = 1000;
};

/// No file grows beyond it in this process, as on a disk that is full.
class FewFileBytes {
public:
    explicit FewFileBytes(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit few { bytes, m_before.rlim_max };
        setrlimit(RLIMIT_FSIZE, &few);
    }
    ~FewFileBytes()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    FewFileBytes(const FewFileBytes&) = delete;
    FewFileBytes& operator=(const FewFileBytes&) = delete;

private:
    rlimit m_before {};
};

struct Way {
    const char* name;
    SoundFormat format;
    std::uint32_t cores;
};

class SoundEncodingTest : public testing::TestWithParam<Way> {
protected:
    /// Sound that several encoders share, where there are several.
    static double enough(double seconds)
    {
        constexpr double Mp3 = 25;
        constexpr double Aac = 40;
        if (GetParam().cores == 1)
            return seconds;
        return GetParam().format == SoundFormat::Mp3 ? Mp3 : Aac;
    }
    std::string wave(double seconds)
    {
        test::WaveMaker wave;
        wave.format(1, 2, 44'100, 16).sound(static_cast<std::size_t>(seconds * 44'100) * 4);
        return m_folder.write("a.wav", wave.bytes());
    }
    std::optional<MediaErrorKind> encode(const std::string& source, const SharedPlace& place)
    {
        EncodingWish wish { .format = GetParam().format, .cores = GetParam().cores };
        return encodeSound(OpenedFile::at(Path(source)), wish, place, m_witness);
    }
    std::size_t files() const
    {
        using std::filesystem::directory_iterator;
        return static_cast<std::size_t>(std::distance(directory_iterator(m_folder.path()), directory_iterator()));
    }

    test::ScratchFolder m_folder;
    Witness m_witness;
};

void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }

constexpr Way Mp3 { "Mp3", SoundFormat::Mp3, 1 };
constexpr Way Mp3OnCores { "Mp3OnCores", SoundFormat::Mp3, 3 };
constexpr Way Aac { "Aac", SoundFormat::Aac, 1 };
constexpr Way AacOnCores { "AacOnCores", SoundFormat::Aac, 3 };
constexpr auto NameOfWay = [](const auto& row) { return std::string(row.param.name); };

INSTANTIATE_TEST_SUITE_P(Every, SoundEncodingTest, testing::Values(Mp3, Mp3OnCores, Aac, AacOnCores), NameOfWay);

class CancelledSoundEncodingTest : public SoundEncodingTest { };
INSTANTIATE_TEST_SUITE_P(Every, CancelledSoundEncodingTest, testing::Values(Mp3, Mp3OnCores, AacOnCores), NameOfWay);

TEST_P(SoundEncodingTest, TellsItsProgress)
{
    std::string made = m_folder.file("made");
    double seconds = enough(5);
    EXPECT_EQ(encode(wave(seconds), OutputPlace::at(Path(made))), std::nullopt);
    EXPECT_GT(m_witness.last, 50);
    auto facts = describe(OpenedFile::at(Path(made)), "", {});
    ASSERT_TRUE(facts.ok());
    EXPECT_NEAR(static_cast<double>(*facts->get<std::int64_t>(fact::Length)), seconds * 1e6, 1e5);
}

/// A file whose second half cannot be read any more.
class HalfReadable final : public ByteSource {
public:
    enum class Rest { IsDamaged, IsCutOff };

    HalfReadable(const std::string& path, Rest rest)
        : m_bytes(test::readFile(path))
        , m_rest(rest)
    {
    }
    std::uint64_t size() const override { return m_bytes.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        const std::size_t half = m_bytes.size() / 2;
        if (m_rest == Rest::IsDamaged && offset + target.size() > half)
            return Error { Error::Kind::Io, "input/output error", EIO };
        return MemorySource(ByteView(m_bytes).first(half)).readAt(offset, target);
    }

private:
    Bytes m_bytes;
    Rest m_rest;
};

TEST_P(SoundEncodingTest, ASourceThatCannotBeReadToItsEndLeavesTheOlderFile)
{
    const std::string source = wave(enough(5));
    const std::string made = m_folder.write("made", "older");
    OpenedFile whole = OpenedFile::at(Path(source));
    EncodingWish wish { .format = GetParam().format, .cores = GetParam().cores };
    for (auto rest : { HalfReadable::Rest::IsDamaged, HalfReadable::Rest::IsCutOff }) {
        m_witness = {};
        SharedSource half = std::make_shared<HalfReadable>(source, rest);
        OpenedFile broken(whole.path(), whole.attributes(), std::move(half));
        EXPECT_EQ(encodeSound(broken, wish, OutputPlace::at(Path(made)), m_witness), MediaErrorKind::Failed);
        EXPECT_EQ(charsOf(test::readFile(made)), "older");
        EXPECT_EQ(files(), 2u);
    }
}

TEST_P(SoundEncodingTest, MonoStaysMono)
{
    test::WaveMaker wave;
    wave.format(1, 1, 44'100, 16).sound(static_cast<std::size_t>(44'100 * enough(1)) * 2);
    std::string made = m_folder.file("made");
    EXPECT_EQ(encode(m_folder.write("mono.wav", wave.bytes()), OutputPlace::at(Path(made))), std::nullopt);
    auto facts = describe(OpenedFile::at(Path(made)), "", {});
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(*facts->get<std::uint32_t>(fact::Channels), 1u);
}

TEST_P(SoundEncodingTest, AFullDiskIsToldAndLeavesTheOlderFile)
{
    std::string older = m_folder.write("made", "older");
    std::string source = wave(enough(20));
    std::optional<MediaErrorKind> problem;
    {
        FewFileBytes few(100'000);
        problem = encode(source, OutputPlace::at(Path(older)));
    }
    EXPECT_EQ(problem, MediaErrorKind::NoSpace);
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    EXPECT_EQ(files(), 2u);
}

TEST_P(CancelledSoundEncodingTest, ACancelLeavesTheOlderFile)
{
    std::string older = m_folder.write("made", "older");
    m_witness.stopAt = 20;
    EXPECT_EQ(encode(wave(enough(25)), OutputPlace::at(Path(older))), MediaErrorKind::Cancelled);
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    EXPECT_EQ(files(), 2u);
}

TEST_P(SoundEncodingTest, WhatHasComeToAFreeNameStays)
{
    SharedPlace place = OutputPlace::atFreeName(Path(m_folder.file("made")));
    std::string source = wave(1);
    m_folder.write("made", "somebody else's");
    EXPECT_EQ(encode(source, place), MediaErrorKind::Exists);
    EXPECT_EQ(charsOf(test::readFile(m_folder.file("made"))), "somebody else's");
    EXPECT_EQ(files(), 2u);
}

TEST_P(SoundEncodingTest, WhatCannotBeEncoded)
{
    EXPECT_EQ(encode(m_folder.write("text.wav", "no sound"), OutputPlace::at(Path(m_folder.file("made")))),
        MediaErrorKind::Unsupported);
    EXPECT_EQ(encode(wave(1), OutputPlace::at(Path(m_folder.file("no/made")))), MediaErrorKind::NotFound);
    EXPECT_EQ(files(), 2u);
}

} // namespace
} // namespace mv
