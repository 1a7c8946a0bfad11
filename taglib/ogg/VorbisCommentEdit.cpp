#include "VorbisCommentEdit.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace kestrabel::ogg {

namespace {

bool hasName(const char *entry, int length, std::string_view name)
{
    return entry && static_cast<size_t>(length) > name.size() && entry[name.size()] == '=' &&
           strncasecmp(entry, name.data(), name.size()) == 0;
}

// name=value in memory that libvorbis may free(); null when memory runs out or the entry would
// not fit an int length.
char *newEntry(std::string_view name, std::string_view value, int *length)
{
    if (value.size() > static_cast<size_t>(INT_MAX) - name.size() - 2)
        return nullptr;
    size_t size = name.size() + 1 + value.size();
    auto *entry = static_cast<char *>(std::malloc(size + 1));
    if (!entry)
        return nullptr;
    std::memcpy(entry, name.data(), name.size());
    entry[name.size()] = '=';
    std::memcpy(entry + name.size() + 1, value.data(), value.size());
    entry[size] = '\0';
    *length = static_cast<int>(size);
    return entry;
}

// Room for one more entry and the list's terminating null, the way libvorbis grows it.
bool grow(vorbis_comment *comment)
{
    size_t count = static_cast<size_t>(comment->comments) + 2;
    auto *entries = static_cast<char **>(std::realloc(comment->user_comments, count * sizeof(char *)));
    if (!entries)
        return false;
    comment->user_comments = entries;
    auto *lengths = static_cast<int *>(std::realloc(comment->comment_lengths, count * sizeof(int)));
    if (!lengths)
        return false;
    comment->comment_lengths = lengths;
    return true;
}

} // namespace

std::vector<CommentValue> findComments(const vorbis_comment &comment, std::string_view name)
{
    std::vector<CommentValue> found;
    for (int i = 0; i < comment.comments; ++i) {
        const char *entry = comment.user_comments[i];
        int length = comment.comment_lengths[i];
        if (hasName(entry, length, name))
            found.push_back({i, std::string_view(entry + name.size() + 1, static_cast<size_t>(length) - name.size() - 1)});
    }
    return found;
}

MediaFileStatus replaceComments(vorbis_comment *comment, std::string_view name, std::optional<std::string_view> value)
{
    int length = 0;
    char *replacement = nullptr;
    if (value) {
        replacement = newEntry(name, *value, &length);
        if (!replacement)
            return kMediaFileErrMemory;
        if (findComments(*comment, name).empty()) {
            std::free(replacement);
            return addComment(comment, name, *value);
        }
    }
    int kept = 0;
    for (int i = 0; i < comment->comments; ++i) {
        char *entry = comment->user_comments[i];
        int entryLength = comment->comment_lengths[i];
        if (hasName(entry, entryLength, name)) {
            std::free(entry);
            if (!replacement)
                continue;
            entry = replacement;
            entryLength = length;
            replacement = nullptr;
        }
        comment->user_comments[kept] = entry;
        comment->comment_lengths[kept] = entryLength;
        ++kept;
    }
    truncateComments(comment, kept);
    return kMediaFileNoErr;
}

void truncateComments(vorbis_comment *comment, int kept)
{
    for (int i = kept; i < comment->comments; ++i) {
        comment->user_comments[i] = nullptr;
        comment->comment_lengths[i] = 0;
    }
    comment->comments = kept;
}

MediaFileStatus addComment(vorbis_comment *comment, std::string_view name, std::string_view value)
{
    int length = 0;
    char *entry = newEntry(name, value, &length);
    if (!entry)
        return kMediaFileErrMemory;
    if (!grow(comment)) {
        std::free(entry);
        return kMediaFileErrMemory;
    }
    comment->user_comments[comment->comments] = entry;
    comment->comment_lengths[comment->comments] = length;
    ++comment->comments;
    comment->user_comments[comment->comments] = nullptr;
    comment->comment_lengths[comment->comments] = 0;
    return kMediaFileNoErr;
}

void eraseComment(vorbis_comment *comment, int index)
{
    if (index < 0 || index >= comment->comments)
        return;
    std::free(comment->user_comments[index]);
    for (int i = index; i + 1 < comment->comments; ++i) {
        comment->user_comments[i] = comment->user_comments[i + 1];
        comment->comment_lengths[i] = comment->comment_lengths[i + 1];
    }
    --comment->comments;
    comment->user_comments[comment->comments] = nullptr;
    comment->comment_lengths[comment->comments] = 0;
}

MediaFileStatus setCommentAt(vorbis_comment *comment, int index, std::string_view name, std::string_view value)
{
    if (index < 0 || index >= comment->comments)
        return kMediaFileErrParam;
    int length = 0;
    char *entry = newEntry(name, value, &length);
    if (!entry)
        return kMediaFileErrMemory;
    std::free(comment->user_comments[index]);
    comment->user_comments[index] = entry;
    comment->comment_lengths[index] = length;
    return kMediaFileNoErr;
}

} // namespace kestrabel::ogg
