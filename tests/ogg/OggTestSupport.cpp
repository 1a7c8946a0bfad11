#include "OggTestSupport.h"

#include "TestSupport.h"

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <cstring>
#include <map>
#include <memory>
#include <sstream>

namespace kestrabel::test {

namespace {

struct StreamReader {
    explicit StreamReader(int serial) { ogg_stream_init(&state, serial); }
    ~StreamReader() { ogg_stream_clear(&state); }
    ogg_stream_state state{};
};

} // namespace

OggLayout readOggLayout(const std::string &path)
{
    std::vector<uint8_t> bytes = readFile(path);
    OggLayout layout;
    ogg_sync_state sync;
    ogg_sync_init(&sync);
    char *buffer = ogg_sync_buffer(&sync, static_cast<long>(bytes.size()));
    std::memcpy(buffer, bytes.data(), bytes.size());
    ogg_sync_wrote(&sync, static_cast<long>(bytes.size()));
    std::map<int, std::unique_ptr<StreamReader>> readers;
    std::map<int, size_t> index;
    ogg_page page;
    int result;
    while ((result = ogg_sync_pageout(&sync, &page)) != 0) {
        if (result < 0) {
            ++layout.brokenPages;
            continue;
        }
        int serial = ogg_page_serialno(&page);
        if (!readers.count(serial)) {
            readers[serial] = std::make_unique<StreamReader>(serial);
            index[serial] = layout.streams.size();
            layout.streams.push_back(OggStream{serial, {}, {}, {}, {}, false});
        }
        OggStream &stream = layout.streams[index[serial]];
        stream.pageGranules.push_back(ogg_page_granulepos(&page));
        stream.pageBytes.insert(stream.pageBytes.end(), page.header, page.header + page.header_len);
        stream.pageBytes.insert(stream.pageBytes.end(), page.body, page.body + page.body_len);
        stream.endsWithEos = ogg_page_eos(&page) != 0;
        ogg_stream_pagein(&readers[serial]->state, &page);
        ogg_packet packet;
        while (ogg_stream_packetout(&readers[serial]->state, &packet) > 0)
            stream.packets.emplace_back(packet.packet, packet.packet + packet.bytes);
        stream.packetsDoneAfterPage.push_back(stream.packets.size());
    }
    ogg_sync_clear(&sync);
    return layout;
}

std::vector<std::vector<uint8_t>> audioPackets(const OggStream &stream)
{
    if (stream.packets.size() < 3)
        return {};
    return {stream.packets.begin() + 3, stream.packets.end()};
}

std::string vorbisGranuleProblems(const OggStream &stream)
{
    if (stream.packets.size() < 3)
        return "no headers";
    vorbis_info info;
    vorbis_comment comment;
    vorbis_info_init(&info);
    vorbis_comment_init(&comment);
    std::vector<int64_t> samplesThrough(stream.packets.size(), 0);
    std::string problems;
    for (size_t i = 0; i < stream.packets.size(); ++i) {
        ogg_packet packet{};
        packet.packet = const_cast<unsigned char *>(stream.packets[i].data());
        packet.bytes = static_cast<long>(stream.packets[i].size());
        packet.b_o_s = i == 0;
        packet.packetno = static_cast<int64_t>(i);
        if (i < 3) {
            if (vorbis_synthesis_headerin(&info, &comment, &packet) != 0)
                problems = "bad header " + std::to_string(i);
            continue;
        }
        // The first audio packet gives no samples; each later one gives a quarter of its own
        // block size and a quarter of the previous packet's.
        if (i > 3) {
            ogg_packet before{};
            before.packet = const_cast<unsigned char *>(stream.packets[i - 1].data());
            before.bytes = static_cast<long>(stream.packets[i - 1].size());
            long previous = vorbis_packet_blocksize(&info, &before);
            samplesThrough[i] = samplesThrough[i - 1] + (previous + vorbis_packet_blocksize(&info, &packet)) / 4;
        }
    }
    vorbis_comment_clear(&comment);
    vorbis_info_clear(&info);
    size_t donePreviously = 0;
    for (size_t page = 0; page < stream.pageGranules.size(); ++page) {
        size_t done = stream.packetsDoneAfterPage[page];
        int64_t granule = stream.pageGranules[page];
        bool last = page + 1 == stream.pageGranules.size();
        int64_t expected = done == donePreviously ? -1 : done <= 3 ? 0 : samplesThrough[done - 1];
        if (granule != expected && !(last && granule < expected))
            problems += "page " + std::to_string(page) + ": granule " + std::to_string(granule) + ", expected " +
                        std::to_string(expected) + "\n";
        donePreviously = done;
    }
    return problems;
}

std::vector<std::string> vorbiscommentList(const std::string &path)
{
    std::string output;
    if (!haveTool("vorbiscomment") || runCommand("vorbiscomment -l " + shellQuote(path), &output) != 0)
        return {};
    std::vector<std::string> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string ogginfoProblems(const std::string &path)
{
    std::string output;
    int status = runCommand("ogginfo " + shellQuote(path), &output, true);
    std::string problems;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        if (line.find("WARNING") != std::string::npos || line.find("ERROR") != std::string::npos ||
            line.find("Warning") != std::string::npos || line.find("Error") != std::string::npos)
            problems += line + "\n";
    if (status != 0)
        problems += "exit status " + std::to_string(status) + "\n";
    return problems;
}

} // namespace kestrabel::test
