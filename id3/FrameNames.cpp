#include "id3/FrameNames.h"

#include <array>
#include <optional>
#include <span>

namespace mv {

namespace {

struct Rename {
    std::string_view stored;
    std::string_view v23;
};

// Names that v2.2 tags, and programs that put v2.2 names or their own into later tags, use. From the v2.2 and v2.3
// documents' frame lists; the last rows are the names that podcast, work and sort-order frames got. CRM, an encrypted
// frame that holds frames, has no successor.
constexpr std::array Renames = {
    Rename { "BUF", "RBUF" },
    Rename { "CNT", "PCNT" },
    Rename { "COM", "COMM" },
    Rename { "CRA", "AENC" },
    Rename { "EQU", "EQUA" },
    Rename { "ETC", "ETCO" },
    Rename { "GEO", "GEOB" },
    Rename { "IPL", "IPLS" },
    Rename { "LNK", "LINK" },
    Rename { "MCI", "MCDI" },
    Rename { "MLL", "MLLT" },
    Rename { "PIC", "APIC" },
    Rename { "POP", "POPM" },
    Rename { "REV", "RVRB" },
    Rename { "RVA", "RVAD" },
    Rename { "SLT", "SYLT" },
    Rename { "STC", "SYTC" },
    Rename { "TAL", "TALB" },
    Rename { "TBP", "TBPM" },
    Rename { "TCM", "TCOM" },
    Rename { "TCO", "TCON" },
    Rename { "TCR", "TCOP" },
    Rename { "TDA", "TDAT" },
    Rename { "TDY", "TDLY" },
    Rename { "TEN", "TENC" },
    Rename { "TFT", "TFLT" },
    Rename { "TIM", "TIME" },
    Rename { "TKE", "TKEY" },
    Rename { "TLA", "TLAN" },
    Rename { "TLE", "TLEN" },
    Rename { "TMT", "TMED" },
    Rename { "TOA", "TOPE" },
    Rename { "TOF", "TOFN" },
    Rename { "TOL", "TOLY" },
    Rename { "TOR", "TORY" },
    Rename { "TOT", "TOAL" },
    Rename { "TP1", "TPE1" },
    Rename { "TP2", "TPE2" },
    Rename { "TP3", "TPE3" },
    Rename { "TP4", "TPE4" },
    Rename { "TPA", "TPOS" },
    Rename { "TPB", "TPUB" },
    Rename { "TRC", "TSRC" },
    Rename { "TRD", "TRDA" },
    Rename { "TRK", "TRCK" },
    Rename { "TSI", "TSIZ" },
    Rename { "TSS", "TSSE" },
    Rename { "TT1", "TIT1" },
    Rename { "TT2", "TIT2" },
    Rename { "TT3", "TIT3" },
    Rename { "TXT", "TEXT" },
    Rename { "TXX", "TXXX" },
    Rename { "TYE", "TYER" },
    Rename { "UFI", "UFID" },
    Rename { "ULT", "USLT" },
    Rename { "WAF", "WOAF" },
    Rename { "WAR", "WOAR" },
    Rename { "WAS", "WOAS" },
    Rename { "WCM", "WCOM" },
    Rename { "WCP", "WCOP" },
    Rename { "WPB", "WPUB" },
    Rename { "WXX", "WXXX" },
    Rename { "GP1", "GRP1" },
    Rename { "MVI", "MVIN" },
    Rename { "MVN", "MVNM" },
    Rename { "PCS", "PCST" },
    Rename { "TCP", "TCMP" },
    Rename { "TCT", "TCAT" },
    Rename { "TDR", "TDRL" },
    Rename { "TDS", "TDES" },
    Rename { "TID", "TGID" },
    Rename { "TKW", "TKWD" },
    Rename { "TS2", "TSO2" },
    Rename { "TSA", "TSOA" },
    Rename { "TSC", "TSOC" },
    Rename { "TSP", "TSOP" },
    Rename { "TST", "TSOT" },
    Rename { "WFD", "WFED" },
};

// Names of v2.4 alone; in other tags they are frames that the version does not know.
constexpr std::array RenamesOfV24 = {
    Rename { "TDRC", "TYER" },
    Rename { "TDOR", "TORY" },
    Rename { "TIPL", "IPLS" },
    Rename { "TMCL", "IPLS" },
};

std::optional<std::string_view> found(std::span<const Rename> renames, std::string_view storedId)
{
    for (const Rename& rename : renames) {
        if (rename.stored == storedId)
            return rename.v23;
    }
    return std::nullopt;
}

} // namespace

std::string v23FrameId(std::string_view storedId, int majorVersion)
{
    constexpr std::size_t ShortName = 3;
    std::optional<std::string_view> id;
    if (storedId.size() == ShortName)
        id = found(Renames, storedId);
    else if (majorVersion == 4)
        id = found(RenamesOfV24, storedId);
    return std::string(id.value_or(storedId));
}

} // namespace mv
