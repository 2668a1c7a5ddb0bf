#pragma once

#include "client/MediaRequests.h"

#include <mivo/Described.h>
#include <optional>
#include <string>
#include <vector>

namespace mivo {

class DescriptionContent {
public:
    static Description made(mv::MediaDescription description);

    Record facts;
    std::vector<Picture> pictures;
};

class DescribedContent {
public:
    static Described made(const mv::Result<mv::Facts>& facts);
    static Described made(Error error);

    Record facts;
    std::optional<Error> error;
};

} // namespace mivo
