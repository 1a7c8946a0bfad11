// The one way every handler writes a file. A handler describes its save as byte ranges of the
// original to replace with new bytes; the saver chooses how to carry that out:
//  - no byte of the original has to move (every range keeps its length, or bytes are appended
//    at the end): the bytes are written where they go, and a failing write is undone, so a
//    player that has the file open is not disturbed and a big file is not copied;
//  - otherwise a new file is written beside the original, flushed and renamed over it, so a
//    crash or a full disk cannot leave a half-moved file;
//  - a file with several hard links, or a caller asking for kMediaFileFlagInPlace, gets the
//    classic in-place move of the tail instead (a rename would split the links), in pieces of
//    bounded size; so does a file whose owner or group the caller could not give the new file,
//    or whose folder the caller may not create files in.
// Symbolic links are followed to the file behind them, which is the one saved; a file the
// caller may not write is refused with EACCES on every path. The resulting bytes are the same
// on every path.
#pragma once

#include <kestrabel/MediaFile.h>

#include "File.h"

#include <cstdint>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace kestrabel::util {

struct Replacement {
    uint64_t offset = 0; // in the original file
    uint64_t length = 0; // bytes of the original replaced; 0 inserts
    std::vector<uint8_t> bytes;
};

// Ranges may come in any order but must not overlap, and must lie within the file (an append
// is a replacement at offset == file size with length 0).
MediaFileStatus saveReplacements(const std::string &path, std::vector<Replacement> edits, MediaFileFlags flags);

// The file a handler reads its current state from and the saver writes, opened once: read-write
// where the caller may write it, so that an edit that moves no byte goes through the same
// descriptor; read-only otherwise, and the save then takes the ordinary way.
struct OpenedForSave {
    File file;
    struct stat st {};
    bool writable = false;
};
MediaFileStatus openForSave(const std::string &path, OpenedForSave *out);
// saveReplacements on a file the handler opened with openForSave; the descriptor is closed.
MediaFileStatus saveReplacements(const std::string &path, OpenedForSave &opened, std::vector<Replacement> edits,
                                 MediaFileFlags flags);

// The saver's rules for handlers that write their new file themselves (Ogg).
//
// Resolves symbolic links to the file behind them (*target, where the new file goes), opens it
// for reading, and refuses with EACCES a file the caller may not write.
MediaFileStatus openSaveTarget(const std::string &path, std::string *target, File *original, struct stat *st);
// Several hard links or kMediaFileFlagInPlace: the new bytes go into the same inode.
bool mustWriteInPlace(const struct stat &st, MediaFileFlags flags);
// Gives the new, still empty file at tempFd the original's owner and group; false when the
// caller may not, in which case the file is to be written in place instead.
bool ownerRestorable(int originalFd, int tempFd);
// Copies attributes, flushes and renames the new file over target; the new file is removed on
// failure.
MediaFileStatus replaceWithNewFile(const std::string &target, int originalFd, const std::string &tempPath, File &temp);
// Writes the first size bytes of fromFd over target's own bytes and cuts it to that size.
MediaFileStatus overwriteFromFile(const std::string &target, int fromFd, uint64_t size);

// Creates a uniquely named, empty file beside path with O_EXCL; the name goes to *tempPath.
MediaFileStatus createSiblingTemp(const std::string &path, std::string *tempPath, int *fd);

// Carries mode, owner, group and extended attributes of the file behind fromFd over to toFd.
void copyFileAttributes(int fromFd, int toFd);

// The padding a save that has to grow a tag leaves for the next edit, so that it is written in
// place: 1 KiB and 1 % of the file, at most 64 KiB, in whole 512-byte units.
constexpr uint64_t roomForNextEdit(uint64_t fileSize)
{
    const uint64_t room = 1024 + fileSize / 100;
    return ((room < 65536 ? room : 65536) + 511) & ~uint64_t(511);
}

// The block size by which an edit that moves the audio moves it, where the format is free to
// choose: the new file can then share the audio's blocks with the old one (FICLONERANGE).
constexpr uint64_t kShareableShift = 4096;

// fsync of the folder that holds path, so that a rename into it is durable.
MediaFileStatus syncParentFolder(const std::string &path);

} // namespace kestrabel::util
