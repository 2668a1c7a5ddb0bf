#pragma once

#include "system/ByteSource.h"

#include <array>
#include <csetjmp>
#include <cstdio>
#include <jpeglib.h>

namespace mv {

/// A multi-scan picture keeps all its coefficients; 384 MB of them are a 4:2:0 picture of 128 megapixels.
inline constexpr long MaxJpegMemory = 384L << 20;
/// Encoders write about ten scans. Every scan passes over all coefficients, so thousands of empty ones are an attack.
inline constexpr int MaxJpegScans = 200;

/// libjpeg's decompressor with an owner. The library leaves a function by longjmp when it fails, so every call into
/// it sits in a small member here that has nothing to destroy on the way; all of them answer false or a negative
/// count after a failure, and nothing but the destructor may be called then.
class JpegDecompressor {
public:
    explicit JpegDecompressor(const ByteSource& source);
    ~JpegDecompressor();
    JpegDecompressor(const JpegDecompressor&) = delete;
    JpegDecompressor& operator=(const JpegDecompressor&) = delete;

    /// Hands out two bytes at `offset` of the source instead of those that are there.
    void patch(std::uint64_t offset, std::array<std::uint8_t, 2> bytes);
    /// Keeps ICC profiles for profile().
    bool keepProfile();
    bool readHeader();
    bool start();
    /// How many rows came; 0 or less: none, and none will come.
    int readRows(JSAMPROW* rows, int count);
    Bytes profile();
    /// True when the library had to make up pixels because the file ends too early.
    bool madeUpPixels() const { return m_inputEnded && m_ranDry; }

    /// The library's own state, to read the header and set the wishes between readHeader() and start().
    jpeg_decompress_struct& state() { return m_state; }

private:
    struct Errors {
        jpeg_error_mgr manager; // first, as the library knows only this part
        std::jmp_buf jump;
        JpegDecompressor* owner;
    };
    struct Input {
        jpeg_source_mgr manager; // first, for the same reason
        JpegDecompressor* owner;
    };

    bool create();
    bool readProfile(JOCTET** data, unsigned* length);
    std::size_t refill();

    static void failed(j_common_ptr state);
    static void noteWarning(j_common_ptr state, int level);
    static void watchScans(j_common_ptr state);
    static boolean fillBuffer(j_decompress_ptr state);
    static void skipBytes(j_decompress_ptr state, long count);

    const ByteSource& m_source;
    std::uint64_t m_position = 0;
    std::uint64_t m_patchOffset = UINT64_MAX;
    std::array<std::uint8_t, 2> m_patch {};
    Bytes m_buffer;
    Errors m_errors {};
    Input m_input {};
    jpeg_progress_mgr m_progress {};
    jpeg_decompress_struct m_state {};
    bool m_created = false;
    bool m_inputEnded = false;
    bool m_ranDry = false;
};

} // namespace mv
