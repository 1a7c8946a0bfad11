// The commands and the image conversion that need Qt (export, import, artwork, now, and the
// JPEG conversion of set --artwork) live in a module of their own, kestrabel-tag-qt.so, that
// the tool loads only when one of them is asked for: show, get and set start without loading
// Qt Gui and D-Bus.
#pragma once

#include "Commands.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::cli {

// Raised whenever QtPart changes, so that a tool never calls a module of another build.
constexpr unsigned kQtPartVersion = 1;

struct QtPart {
    unsigned version;
    const Command *commands;
    size_t commandCount;
    MediaFileStatus (*readArtworkImage)(const std::string &path, std::vector<uint8_t> *out);
    MediaFileStatus (*checkArtworkBytes)(const std::string &bytes);
};

// The module's one exported symbol.
#define KESTRABEL_QT_PART_ENTRY "kestrabel_tag_qt_part"
using QtPartEntry = const QtPart *(*)();

// Loads the module once; nullptr (after printing why, once) when it cannot be loaded. The module
// stays loaded to the end of the process.
const QtPart *qtPart();

} // namespace kestrabel::cli
