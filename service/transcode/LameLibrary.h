#pragma once

#include <cstddef>
#include <lame/lame.h>

namespace mv {

/// The calls of the MP3 encoding library, one for one and in the order in which a job makes them, so that a test can
/// watch them and make any of them fail. No state.
class LameLibrary {
public:
    virtual ~LameLibrary() = default;
    virtual lame_t init() const { return lame_init(); }
    virtual int setOutSamplerate(lame_t lame, int rate) const { return lame_set_out_samplerate(lame, rate); }
    virtual int setVBR(lame_t lame, vbr_mode mode) const { return lame_set_VBR(lame, mode); }
    virtual int getVBRMeanBitrateKbps(lame_t lame) const { return lame_get_VBR_mean_bitrate_kbps(lame); }
    virtual int setVBRMeanBitrateKbps(lame_t lame, int rate) const
    {
        return lame_set_VBR_mean_bitrate_kbps(lame, rate);
    }
    virtual int setBrate(lame_t lame, int kbps) const { return lame_set_brate(lame, kbps); }
    virtual int setNumChannels(lame_t lame, int channels) const { return lame_set_num_channels(lame, channels); }
    virtual int setInSamplerate(lame_t lame, int rate) const { return lame_set_in_samplerate(lame, rate); }
    virtual int setMode(lame_t lame, MPEG_mode mode) const { return lame_set_mode(lame, mode); }
    virtual int setQuality(lame_t lame, int quality) const { return lame_set_quality(lame, quality); }
    virtual int setWriteVbrTag(lame_t lame, int on) const { return lame_set_bWriteVbrTag(lame, on); }
    virtual int initParams(lame_t lame) const { return lame_init_params(lame); }
    virtual int getOutSamplerate(lame_t lame) const { return lame_get_out_samplerate(lame); }
    virtual int getFramesize(lame_t lame) const { return lame_get_framesize(lame); }
    virtual std::size_t getId3v2Tag(lame_t lame, unsigned char* buffer, std::size_t size) const
    {
        return lame_get_id3v2_tag(lame, buffer, size);
    }
    virtual int encodeBufferInt(
        lame_t lame, const int* left, const int* right, int frames, unsigned char* buffer, int size) const
    {
        return lame_encode_buffer_int(lame, left, right, frames, buffer, size);
    }
    virtual int encodeFlush(lame_t lame, unsigned char* buffer, int size) const
    {
        return lame_encode_flush(lame, buffer, size);
    }
    virtual std::size_t getLametagFrame(lame_t lame, unsigned char* buffer, std::size_t size) const
    {
        return lame_get_lametag_frame(lame, buffer, size);
    }
    virtual int close(lame_t lame) const { return lame_close(lame); }
};

} // namespace mv
