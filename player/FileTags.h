// The current track's own tags, read with the tag library. Players keep showing the metadata they
// read when the track started, so after an edit only the file knows the truth.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace kestrabel::player {

struct TrackFields;

struct FileTags {
    // A field is null when the file's kind does not carry it; empty when the file has no value.
    QString title;
    QString artist;
    QString album;
    QString genre;
    int trackNumber = 0;
    int discNumber = 0;
};

// Nothing when the tag library does not open path as an audio file.
std::optional<FileTags> readFileTags(const QString &path);

// The file's front cover as stored; null when it has none.
QByteArray readFileArtwork(const QString &path);

// Replaces the four text fields (and the numbers) of fields with the file's where the file has them.
void applyFileTags(TrackFields &fields, const FileTags &tags);

// Whether the tag library takes path for an audio file, judged by its name and first bytes.
bool isAudioFile(const QString &path);

// Remembers the tags of the last file read until the file changes on disk, so that a poll asking
// for title, artist, album and genre opens the file once.
class FileTagCache {
public:
    std::optional<FileTags> tags(const QString &path);

private:
    QString path_;
    QByteArray stamp_;
    std::optional<FileTags> tags_;
};

} // namespace kestrabel::player
