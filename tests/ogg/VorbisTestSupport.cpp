#include "VorbisTestSupport.h"

#include <ogg/ogg.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <regex>
#include <sstream>

namespace kestrabel::test {

OggLayout readOggLayout(const std::string &path)
{
    Bytes bytes = readFile(path);
    OggLayout layout;
    ogg_sync_state sync;
    ogg_sync_init(&sync);
    std::memcpy(ogg_sync_buffer(&sync, static_cast<long>(bytes.size())), bytes.data(), bytes.size());
    ogg_sync_wrote(&sync, static_cast<long>(bytes.size()));
    using State = std::unique_ptr<ogg_stream_state, int (*)(ogg_stream_state *)>; // freed by libogg, so malloc'd
    std::map<int, std::pair<size_t, State>> readers;                                // the stream's index, its state
    ogg_page page;
    size_t pages = 0;
    for (int result; (result = ogg_sync_pageout(&sync, &page)) != 0;) {
        if (result < 0) {
            ++layout.brokenPages;
            continue;
        }
        int serial = layout.lastSerial = ogg_page_serialno(&page);
        if (ogg_page_bos(&page) && layout.firstPages.size() == pages)
            layout.firstPages.push_back(serial);
        ++pages;
        if (!readers.count(serial)) {
            readers.emplace(serial, std::pair(layout.streams.size(), State(static_cast<ogg_stream_state *>(std::malloc(sizeof(ogg_stream_state))), ogg_stream_destroy)));
            ogg_stream_init(readers.at(serial).second.get(), serial);
            layout.streams.push_back(OggStream{serial, {}, {}, {}, {}});
        }
        auto &[index, state] = readers.at(serial);
        OggStream &stream = layout.streams[index];
        stream.pageGranules.push_back(ogg_page_granulepos(&page));
        stream.pages.emplace_back(page.header, page.header + page.header_len).insert(stream.pages.back().end(), page.body, page.body + page.body_len);
        ogg_stream_pagein(state.get(), &page);
        ogg_packet packet;
        while (ogg_stream_packetout(state.get(), &packet) > 0)
            stream.packets.emplace_back(packet.packet, packet.packet + packet.bytes);
        stream.packetsDoneAfterPage.push_back(stream.packets.size());
    }
    ogg_sync_clear(&sync);
    return layout;
}

FlacLayout readFlacLayout(const std::string &path)
{
    Bytes bytes = readFile(path);
    FlacLayout layout;
    if (bytes.size() < 4 || std::string(bytes.begin(), bytes.begin() + 4) != "fLaC")
        return layout;
    size_t at = 4;
    for (bool last = false; !last;) {
        size_t length = at + 4 > bytes.size() ? bytes.size() : size_t(bytes[at + 1]) << 16 | size_t(bytes[at + 2]) << 8 | bytes[at + 3];
        if (at + 4 + length > bytes.size())
            return layout;
        last = (bytes[at] & 0x80) != 0;
        layout.blocks.emplace_back(bytes[at] & 0x7F, Bytes(bytes.begin() + long(at + 4), bytes.begin() + long(at + 4 + length)));
        at += 4 + length;
    }
    layout.audio.assign(bytes.begin() + long(at), bytes.end());
    layout.valid = true;
    return layout;
}

std::vector<std::string> toolLines(const std::string &command)
{
    std::string output;
    std::vector<std::string> lines;
    std::istringstream in(runCommand(command, &output) == 0 ? output : "");
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string validatorProblems(const std::string &path)
{
    std::string output;
    int status = runCommand((readFlacLayout(path).valid ? "flac -s -t " : "ogginfo ") + shellQuote(path), &output, true);
    std::string problems;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        if (std::regex_search(line, std::regex("warning|error", std::regex::icase)))
            problems += line + "\n";
    return status ? problems + "exit status " + std::to_string(status) + "\n" : problems;
}

std::vector<std::string> peerEntries(const std::string &path)
{
    return toolLines((readFlacLayout(path).valid ? "metaflac --export-tags-to=- " : "vorbiscomment -l ") + shellQuote(path));
}

MediaFileStatus saveEdits(const std::string &path, const Edits &edits, MediaFileFlags flags)
{
    OpenFile file(path, flags);
    MediaFileStatus status = file.status();
    for (auto edit = edits.begin(); !status && edit != edits.end(); ++edit) {
        const auto &[id, value] = *edit;
        bool picture = MediaFileGetDataIDInfo(id)->valueType == 'D';
        status = picture ? MediaFileSetData(file.ref(), id, value.data(), value.size()) : MediaFileSetString(file.ref(), id, value.c_str());
    }
    return status ? status : MediaFileUpdate(file.ref(), flags);
}

} // namespace kestrabel::test
