#pragma once

#include "libmivo/ClientContent.h"

namespace mivo {

/// The attributes for the service, every one, because it keeps those of the last job; raises Error at a key or a value
/// that is no attribute.
mv::Record encoderAttributes(const Record& wanted);

/// Runs one job of the encoder; raises Error, or what `progress` threw.
JobEnd runEncoding(ClientContent& client, const ClientContent::Turn& turn, const std::string& input,
    const std::string& output, const mv::Record& attributes, const Progress& progress);

} // namespace mivo
