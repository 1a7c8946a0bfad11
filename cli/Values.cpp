#include "Values.h"

#include "Sha256.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace kestrabel::cli {

namespace {

bool isAudioInfo(MediaFileDataID id)
{
    return id == kMediaFileDataIDBitRate || id == kMediaFileDataIDChannels || id == kMediaFileDataIDSampleRate ||
           id == kMediaFileDataIDPlayTime;
}

// The tracks of an album usually carry the same cover: the picture hashed last is kept beside
// its hash, so that the next one is compared with it rather than hashed again. One per thread,
// for files read in parallel; a very large picture is not kept.
std::string hashOfBytes(std::span<const uint8_t> data)
{
    constexpr size_t kMaxKept = 4 * 1024 * 1024;
    struct Last {
        std::vector<uint8_t> bytes;
        std::string hex;
    };
    thread_local Last last;
    if (!data.empty() && !last.hex.empty() && last.bytes.size() == data.size() &&
        std::memcmp(last.bytes.data(), data.data(), data.size()) == 0)
        return last.hex;
    std::string hex = sha256Hex(data);
    if (!data.empty() && data.size() <= kMaxKept) {
        last.bytes.assign(data.begin(), data.end());
        last.hex = hex;
    }
    return hex;
}

bool sameValue(const Value &a, const Value &b)
{
    if (a.index() != b.index())
        return false;
    if (const auto *bytes = std::get_if<ByteValue>(&a)) {
        const auto &other = std::get<ByteValue>(b);
        return bytes->length == other.length && bytes->sha256 == other.sha256;
    }
    if (const auto *number = std::get_if<int32_t>(&a))
        return *number == std::get<int32_t>(b);
    return std::get<std::string>(a) == std::get<std::string>(b);
}

} // namespace

MediaFileStatus readValue(MediaFileRef ref, const MediaFileDataIDInfo *info, Value *out, std::string *rawBytes)
{
    switch (info->valueType) {
    case 'I': {
        int32_t value = 0;
        MediaFileStatus status = MediaFileGetInteger(ref, info->dataID, &value);
        if (status == kMediaFileNoErr)
            *out = value;
        return status;
    }
    case 'S':
    case 'P': {
        char *text = nullptr;
        MediaFileStatus status = MediaFileGetString(ref, info->dataID, &text);
        if (status == kMediaFileNoErr) {
            *out = std::string(text ? text : "");
            std::free(text);
        }
        return status;
    }
    case 'D': {
        void *bytes = nullptr;
        size_t length = 0;
        MediaFileStatus status = MediaFileGetData(ref, info->dataID, &bytes, &length);
        if (status != kMediaFileNoErr)
            return status;
        std::unique_ptr<void, decltype(&std::free)> owner(bytes, &std::free);
        auto *data = static_cast<const uint8_t *>(bytes);
        *out = ByteValue{length, hashOfBytes({data, length}), describeBytes(data, length)};
        if (rawBytes)
            rawBytes->assign(reinterpret_cast<const char *>(data), length);
        return kMediaFileNoErr;
    }
    default:
        return kMediaFileErrUnsupported;
    }
}

void collectValues(MediaFileRef ref, bool audioInfo, std::vector<Entry> *entries)
{
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        if (info->valueType == '-' || (!audioInfo && isAudioInfo(info->dataID)))
            continue;
        Value value;
        if (readValue(ref, info, &value) == kMediaFileNoErr)
            entries->push_back({info, std::move(value)});
    }
}

std::string valueText(const Value &value)
{
    if (const auto *number = std::get_if<int32_t>(&value))
        return std::to_string(*number);
    if (const auto *text = std::get_if<std::string>(&value))
        return *text;
    return std::get<ByteValue>(value).description;
}

std::vector<ValueChange> changedValues(const std::vector<Entry> &before, const std::vector<Entry> &after)
{
    // Both lists are in data-ID table order, so one merge walk pairs them.
    auto position = [](const MediaFileDataIDInfo *info) { return info - MediaFileGetDataIDInfoAt(0); };
    std::vector<ValueChange> changes;
    size_t i = 0, j = 0;
    while (i < before.size() || j < after.size()) {
        if (j == after.size() || (i < before.size() && position(before[i].info) < position(after[j].info))) {
            changes.push_back({before[i].info, before[i].value, std::nullopt});
            ++i;
        } else if (i == before.size() || position(after[j].info) < position(before[i].info)) {
            changes.push_back({after[j].info, std::nullopt, after[j].value});
            ++j;
        } else {
            if (!sameValue(before[i].value, after[j].value))
                changes.push_back({before[i].info, before[i].value, after[j].value});
            ++i;
            ++j;
        }
    }
    return changes;
}

MediaFileStatus writeText(MediaFileRef ref, const MediaFileDataIDInfo *info, const std::string &text)
{
    if (info->valueType != 'I')
        return MediaFileSetString(ref, info->dataID, text.c_str());
    int32_t value = 0;
    const char *end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end)
        return kMediaFileErrBadFormat;
    return MediaFileSetInteger(ref, info->dataID, value);
}

} // namespace kestrabel::cli
