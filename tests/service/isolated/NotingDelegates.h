#pragma once

#include "service/encoder/EncodingRun.h"
#include "service/include/MVMP4ExporterBase.h"

#include <climits>
#include <string>
#include <vector>

namespace mv::test {

/// Notes what an encoding tells, and stops it where it is told to.
class NotingListener final : public EncodingListener {
public:
    void started() override { heard.push_back("started"); }
    bool shouldStop() override { return ++questions >= stopAt; }
    void progress(float percent) override { heard.push_back("progress " + std::to_string(percent)); }
    void failed(std::int32_t code) override { heard.push_back("failed " + std::to_string(code)); }
    void ended() override { heard.push_back("ended"); }

    std::vector<std::string> heard;
    int questions = 0;
    int stopAt = INT_MAX;
};

/// Notes percents, and refuses one where it is told to.
class NotingDelegate final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        return static_cast<int>(percents.size()) < refuseAt;
    }

    std::vector<std::int32_t> percents;
    int refuseAt = INT_MAX;
};

} // namespace mv::test
