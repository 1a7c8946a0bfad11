// The entry of kestrabel-tag-qt.so: the commands built on the object layer and the player
// bridge, and the image conversion.
#include "ArtworkInput.h"
#include "QtPart.h"

namespace kestrabel::cli {

namespace {

const Command kQtCommands[] = {
    {"export", "write the tags as a property list", runExport, kExportHelp},
    {"import", "apply an exported property list and save", runImport, kImportHelp},
    {"artwork", "write the cover art into an image file", runArtwork, kArtworkHelp},
    {"now", "show the music player's current track", runNow, kNowHelp},
};

const QtPart kPart{kQtPartVersion, kQtCommands, std::size(kQtCommands), readArtworkImage, checkArtworkBytes};

} // namespace

} // namespace kestrabel::cli

extern "C" __attribute__((visibility("default"))) const kestrabel::cli::QtPart *kestrabel_tag_qt_part()
{
    // Qt's own messages go through the tool's filter from the moment Qt is in the process.
    kestrabel::cli::installQtMessageFilter();
    return &kestrabel::cli::kPart;
}
