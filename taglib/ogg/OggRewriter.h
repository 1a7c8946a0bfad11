// What the Vorbis and the Opus save share: the page reader over the original, the page writer
// over the new file, and how a run ends.
#pragma once

#include "OggVorbisFile.h"

namespace kestrabel::ogg {

inline constexpr char kCorruptData[] = "Corrupt or missing data, continuing...";
inline constexpr char kWriteFailed[] = "Error writing stream to output. Output stream may be corrupted or truncated.";

class RewriterBase {
protected:
    RewriterBase(OggVorbisFile &file, const util::File &input, const util::File &output)
        : file_(file), reader_(input), writer_(output)
    {
        reader_.setProgress(file.progress, file.progressContext);
    }

    MediaFileStatus fail(const char *message)
    {
        file_.lastError = message;
        return kOggVorbisErrNotVorbis;
    }

    // After the last page: a failed read, or a failed write with lastError saying so.
    MediaFileStatus finish()
    {
        if (reader_.error())
            return reader_.error() == kMediaFileErrMemory ? kOggVorbisErrMemory : reader_.error();
        if (writer_.finish()) {
            file_.lastError = kWriteFailed;
            return kOggVorbisErrWrite;
        }
        return kMediaFileNoErr;
    }

    // Copies every page left in the input as it is. The pages of our stream, up to its end (its
    // end-of-stream page, or the first page of a stream chained after it), are renumbered from
    // nextSequence on, with their checksums made anew, when the header pages before them changed
    // in number; their bodies and granule positions are never touched.
    void copyRemainingPages(int serial, uint32_t nextSequence);

    OggVorbisFile &file_;
    PageReader reader_;
    PageWriter writer_;
};

} // namespace kestrabel::ogg
