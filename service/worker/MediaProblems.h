#pragma once

#include "facts/FactErrors.h"
#include "service/include/MediaErrors.h"
#include "service/job/MediaJob.h"

namespace mv {

/// What a description's error is among the problems of a job.
inline MediaProblem mediaProblemOf(const Error& error)
{
    std::string_view name = describeErrorName(error.kind);
    if (name == nameOf(MediaErrorKind::NotMedia))
        return MediaProblem::NotMedia;
    return name == nameOf(MediaErrorKind::TooLarge) ? MediaProblem::TooLarge : MediaProblem::Failed;
}

} // namespace mv
