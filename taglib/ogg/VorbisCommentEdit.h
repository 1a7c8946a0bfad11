// Edits of a libvorbis comment list by exact field name (ignoring case), for the rules of the
// interop profile; any stream whose comments are held in a vorbis_comment can use them.
#pragma once

#include <kestrabel/MediaFile.h>

#include <vorbis/codec.h>

#include <optional>
#include <string_view>
#include <vector>

namespace kestrabel::ogg {

struct CommentValue {
    int index;
    std::string_view value; // points into the list; valid until it changes
};

std::vector<CommentValue> findComments(const vorbis_comment &comment, std::string_view name);

// Every entry of the name gives way to one entry with the value at the first one's place (or
// at the end); with no value they are all removed. kMediaFileErrMemory when memory runs out,
// with the list unchanged.
MediaFileStatus replaceComments(vorbis_comment *comment, std::string_view name, std::optional<std::string_view> value);

// A new entry at the end.
MediaFileStatus addComment(vorbis_comment *comment, std::string_view name, std::string_view value);

// Ends the list after its first kept entries, once those were moved to the front; the entries
// past them must already be freed or moved.
void truncateComments(vorbis_comment *comment, int kept);

// Removes the entry at index.
void eraseComment(vorbis_comment *comment, int index);

// The entry at index becomes name=value.
MediaFileStatus setCommentAt(vorbis_comment *comment, int index, std::string_view name, std::string_view value);

} // namespace kestrabel::ogg
