#include "CFStringUtilities.h"

#include <cwctype>
#include <memory>
#include <new>

namespace kestrabel::util {

namespace {

std::unique_ptr<CFStringUtilitiesSets> gSets;

bool whitespace(char32_t c) { return std::iswspace(static_cast<wint_t>(c)) || c == 0x85 || c == 0x2028 || c == 0x2029; }
bool letter(char32_t c) { return std::iswalpha(static_cast<wint_t>(c)); }
bool letterOrDigit(char32_t c) { return std::iswalnum(static_cast<wint_t>(c)); }

} // namespace

MediaFileStatus CFStringUtilitiesInitialize()
{
    try {
        auto sets = std::make_unique<CFStringUtilitiesSets>();
        sets->isWhitespaceOrNewline = whitespace;
        sets->isLetter = letter;
        sets->isLetterOrDigit = letterOrDigit;
        sets->romanNumerals = U"ivxlcdmIVXLCDM";
        sets->identifierCharacters = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
        sets->asciiLetters = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
        sets->forbiddenInFileNames = U"/\\:*?\"<>|";
        sets->apostrophe = U"'";
        sets->smallWords = {"a",  "an", "the", "and", "but", "or",  "for",  "nor",  "yet",  "as",   "at",   "by",   "in", "is",
                            "of", "on", "to",  "up",  "per", "from", "with", "into", "onto", "over", "till", "unto", "upon"};
        sets->capitalWords = {"LP", "EP", "CD", "DJ", "MC"};
        sets->stateAbbreviations = {"AL", "AK", "AZ", "AR", "CA", "CO", "CT", "DE", "FL", "GA", "HI", "ID", "IL", "IN", "IA", "KS", "KY",
                                    "LA", "ME", "MD", "MA", "MI", "MN", "MS", "MO", "MT", "NE", "NV", "NH", "NJ", "NM", "NY", "NC", "ND",
                                    "OH", "OK", "OR", "PA", "RI", "SC", "SD", "TN", "TX", "UT", "VT", "VA", "WA", "WV", "WI", "WY", "DC"};
        gSets = std::move(sets);
        return kMediaFileNoErr;
    } catch (const std::bad_alloc &) {
        gSets.reset();
        return kMediaFileErrUnsupported;
    }
}

void CFStringUtilitiesRelease() { gSets.reset(); }

const CFStringUtilitiesSets *CFStringUtilitiesGet() { return gSets.get(); }

} // namespace kestrabel::util
