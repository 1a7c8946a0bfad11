#include "Pack.h"

#include "ByteCursor.h"

#include <cstring>

namespace kestrabel::util {

namespace {

// Walks the format once; the visitor gets each letter with its arguments. Shared by the size
// query and the packer so that they cannot disagree.
template <typename Emit>
MediaFileStatus walk(std::string_view format, std::initializer_list<PackArg> args, Emit &&emit)
{
    const PackArg *arg = args.begin();
    auto next = [&]() -> const PackArg * { return arg == args.end() ? nullptr : arg++; };
    auto nextInt = [&](int64_t &out) {
        const PackArg *a = next();
        if (!a || !std::holds_alternative<int64_t>(*a))
            return false;
        out = std::get<int64_t>(*a);
        return true;
    };
    for (char letter : format) {
        int64_t value = 0, width = 0;
        switch (letter) {
        case ' ':
            break;
        case 'b':
        case 'h':
        case 'w': {
            if (!nextInt(value))
                return kMediaFileErrParam;
            int size = letter == 'b' ? 1 : letter == 'h' ? 2 : 4;
            emit(size, [=](uint8_t *p) { putBigEndian(p, size, static_cast<uint32_t>(value)); });
            break;
        }
        case 'i': {
            if (!nextInt(width) || !nextInt(value))
                return kMediaFileErrParam;
            int size = width >= 1 && width <= 4 ? static_cast<int>(width) : 0;
            emit(size, [=](uint8_t *p) { putBigEndian(p, size, static_cast<uint32_t>(value)); });
            break;
        }
        case 's': {
            const PackArg *a = next();
            if (!a || !std::holds_alternative<std::string_view>(*a))
                return kMediaFileErrParam;
            std::string_view text = std::get<std::string_view>(*a);
            emit(text.size() + 1, [=](uint8_t *p) {
                if (!text.empty())
                    std::memcpy(p, text.data(), text.size());
                p[text.size()] = 0;
            });
            break;
        }
        case 'n': {
            const PackArg *a = next();
            if (!a || !std::holds_alternative<std::span<const uint8_t>>(*a))
                return kMediaFileErrParam;
            auto run = std::get<std::span<const uint8_t>>(*a);
            emit(run.size(), [=](uint8_t *p) {
                if (!run.empty())
                    std::memcpy(p, run.data(), run.size());
            });
            break;
        }
        default:
            return kMediaFileErrUnsupported;
        }
    }
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus packedSize(std::string_view format, std::initializer_list<PackArg> args, size_t *outSize)
{
    size_t total = 0;
    MediaFileStatus status = walk(format, args, [&](size_t size, auto &&) { total += size; });
    if (status == kMediaFileNoErr && outSize)
        *outSize = total;
    return status;
}

MediaFileStatus pack(std::span<uint8_t> buffer, std::string_view format, std::initializer_list<PackArg> args)
{
    size_t needed = 0;
    if (MediaFileStatus status = packedSize(format, args, &needed))
        return status;
    if (needed > buffer.size())
        return kMediaFileErrTooSmall;
    size_t offset = 0;
    return walk(format, args, [&](size_t size, auto &&write) {
        write(buffer.data() + offset);
        offset += size;
    });
}

MediaFileStatus pack(std::vector<uint8_t> *out, std::string_view format, std::initializer_list<PackArg> args)
{
    size_t needed = 0;
    if (MediaFileStatus status = packedSize(format, args, &needed))
        return status;
    std::vector<uint8_t> bytes(needed);
    if (MediaFileStatus status = pack(std::span<uint8_t>(bytes), format, args))
        return status;
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

MediaFileStatus unpack(std::span<const uint8_t> buffer, std::string_view format, std::initializer_list<UnpackTarget> targets)
{
    ByteReader reader(buffer);
    const UnpackTarget *target = targets.begin();
    auto next = [&]() -> const UnpackTarget * { return target == targets.end() ? nullptr : target++; };
    for (char letter : format) {
        switch (letter) {
        case ' ':
            break;
        case 'b': {
            const UnpackTarget *t = next();
            if (!t || !std::holds_alternative<uint8_t *>(*t))
                return kMediaFileErrParam;
            if (!reader.u8(*std::get<uint8_t *>(*t)))
                return kMediaFileErrShortHeader;
            break;
        }
        case 'h': {
            const UnpackTarget *t = next();
            if (!t || !std::holds_alternative<uint16_t *>(*t))
                return kMediaFileErrParam;
            if (!reader.be16(*std::get<uint16_t *>(*t)))
                return kMediaFileErrShortHeader;
            break;
        }
        case 'w': {
            const UnpackTarget *t = next();
            if (!t || !std::holds_alternative<uint32_t *>(*t))
                return kMediaFileErrParam;
            if (!reader.be32(*std::get<uint32_t *>(*t)))
                return kMediaFileErrShortHeader;
            break;
        }
        case 'i': {
            const UnpackTarget *w = next();
            const UnpackTarget *t = next();
            if (!w || !t || !std::holds_alternative<WidthArg>(*w) || !std::holds_alternative<uint32_t *>(*t))
                return kMediaFileErrParam;
            int width = std::get<WidthArg>(*w).width;
            if (width < 1 || width > 4)
                break;
            std::span<const uint8_t> run;
            if (!reader.bytes(static_cast<size_t>(width), run))
                return kMediaFileErrShortHeader;
            *std::get<uint32_t *>(*t) = getBigEndian(run.data(), width);
            break;
        }
        case 's': {
            const UnpackTarget *t = next();
            if (!t || !std::holds_alternative<std::string *>(*t))
                return kMediaFileErrParam;
            auto rest = reader.rest();
            const void *nul = std::memchr(rest.data(), 0, rest.size());
            if (!nul)
                return kMediaFileErrShortHeader;
            size_t length = static_cast<const uint8_t *>(nul) - rest.data();
            std::get<std::string *>(*t)->assign(reinterpret_cast<const char *>(rest.data()), length);
            reader.skip(length + 1);
            break;
        }
        case 'n': {
            const UnpackTarget *t = next();
            if (!t || !std::holds_alternative<std::vector<uint8_t> *>(*t))
                return kMediaFileErrParam;
            auto *out = std::get<std::vector<uint8_t> *>(*t);
            std::span<const uint8_t> run;
            if (!reader.bytes(out->size(), run))
                return kMediaFileErrShortHeader;
            if (!run.empty())
                std::memcpy(out->data(), run.data(), run.size());
            break;
        }
        default:
            return kMediaFileErrUnsupported;
        }
    }
    return kMediaFileNoErr;
}

} // namespace kestrabel::util
