#pragma once

#include <kestrabel/MediaFile.h>

#include <string_view>

namespace kestrabel {

// Kind from the extension registries, else from the first bytes of the file.
MediaFileStatus detectKind(const char *path, MediaFileType *outKind);
// Kind from content alone; 0 when nothing matches.
MediaFileType sniffKind(const uint8_t *bytes, size_t length);
// Fills the built-in registry once; every lookup calls it first, from any thread.
void ensureKindRegistries();

} // namespace kestrabel
