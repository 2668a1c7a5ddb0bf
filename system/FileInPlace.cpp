#include "system/FileInPlace.h"

#include <cstdio>
#include <utility>

namespace mv {

namespace {

// A second of sound or two go to the disk at once.
constexpr std::size_t WriteBuffer = 1 << 16;

class BufferedFile final : public FileInPlace {
public:
    explicit BufferedFile(std::FILE* file)
        : m_file(file)
    {
        std::setvbuf(m_file, nullptr, _IOFBF, WriteBuffer);
    }
    ~BufferedFile() override { BufferedFile::close(); }

    bool write(ByteView bytes) override
    {
        return bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), m_file) == bytes.size();
    }
    bool seek(std::uint64_t offset) override { return fseeko(m_file, static_cast<off_t>(offset), SEEK_SET) == 0; }
    bool close() override
    {
        std::FILE* file = std::exchange(m_file, nullptr);
        return !file || std::fclose(file) == 0;
    }

private:
    std::FILE* m_file; // owned; null when it is closed
};

} // namespace

std::unique_ptr<FileInPlace> FileInPlace::of(UniqueFd file)
{
    std::FILE* opened = fdopen(file.get(), "wb");
    if (!opened)
        return nullptr;
    file.release();
    return std::make_unique<BufferedFile>(opened);
}

} // namespace mv
