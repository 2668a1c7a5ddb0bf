#pragma once

#include "Base/Core/ByteReader.h"
#include "facts/reading/TagPictures.h"

#include <array>

namespace mv {

/// A text of a WAVE or AIFF file beside an ID3 tag.
struct RiffField {
    std::uint32_t id;
    TagField field;
};

/// Of WAVE's INFO list.
inline constexpr std::array InfoFields {
    RiffField { fourCC("INAM"), TagField::Title },
    RiffField { fourCC("IPRD"), TagField::Album },
    RiffField { fourCC("IART"), TagField::Artist },
    RiffField { fourCC("ICMT"), TagField::Comment },
    RiffField { fourCC("IGNR"), TagField::Genre },
    RiffField { fourCC("ICRD"), TagField::Date },
    RiffField { fourCC("IMUS"), TagField::Composer },
    RiffField { fourCC("ITRK"), TagField::Track },
    RiffField { fourCC("IPRT"), TagField::Track },
    RiffField { fourCC("IFRM"), TagField::TrackTotal },
};

/// AIFF's own chunks.
inline constexpr std::array AiffFields {
    RiffField { fourCC("NAME"), TagField::Title },
    RiffField { fourCC("AUTH"), TagField::Artist },
    RiffField { fourCC("ANNO"), TagField::Comment },
};

/// Null where no field has it.
template <class Fields> constexpr const RiffField* riffField(const Fields& fields, std::uint32_t id)
{
    for (const RiffField& one : fields) {
        if (one.id == id)
            return &one;
    }
    return nullptr;
}

/// The content of a LIST chunk; one without "INFO" in front says nothing.
void addInfoList(TagSink& sink, ByteView list);
/// The content of a chunk of AIFF's; of one that is no text nothing. All of a file are one tag.
void addAiffText(TagSink& sink, std::uint32_t id, ByteView content);

} // namespace mv
