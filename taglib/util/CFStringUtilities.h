// The string utility module's process-wide character sets and word lists, built once at
// launch by the application before anything else runs.
#pragma once

#include <kestrabel/MediaFile.h>

#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::util {

struct CFStringUtilitiesSets {
    bool (*isWhitespaceOrNewline)(char32_t);
    bool (*isLetter)(char32_t);
    bool (*isLetterOrDigit)(char32_t);
    std::u32string romanNumerals;
    std::u32string identifierCharacters;
    std::u32string asciiLetters;
    std::u32string forbiddenInFileNames;
    std::u32string apostrophe;
    std::vector<std::string> smallWords;
    std::vector<std::string> capitalWords;
    std::vector<std::string> stateAbbreviations;
};

// 0, or kMediaFileErrUnsupported after releasing whatever it had built.
MediaFileStatus CFStringUtilitiesInitialize();
void CFStringUtilitiesRelease();
// Null before initialisation and after release.
const CFStringUtilitiesSets *CFStringUtilitiesGet();

} // namespace kestrabel::util
