// kestrabel-tag: read and write the tags of music files from the command line.
#include "Commands.h"
#include "Generate.h"
#ifdef KESTRABEL_CLI_OBJECTS
#include "QtPart.h"
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kestrabel::cli {

#ifdef KESTRABEL_CLI_OBJECTS
// The commands of the Qt part join the table only when the part loads.
const std::vector<Command> &commands()
{
    static const std::vector<Command> table = [] {
        std::vector<Command> all = coreCommands();
        if (const QtPart *part = qtPart())
            all.insert(all.end(), part->commands, part->commands + part->commandCount);
        return all;
    }();
    return table;
}
#endif

static void printMainHelp(FILE *out)
{
    std::fputs("usage: kestrabel-tag COMMAND [OPTIONS] FILE...\n\n"
               "Reads and writes the tags of music files: ID3v1/ID3v2 in MP3, ilst atoms in\n"
               "MP4/M4A, ID3 and Broadcast Wave chunks in AIFF/WAVE, Vorbis comments in Ogg and\n"
               "FLAC, and (read only) EXIF in JPEG images.\n\nCommands:\n",
               out);
    for (const Command &command : commands())
        std::fprintf(out, "  %-10s %s\n", command.name, command.summary);
    std::fputs("\nValues are named by data ID: a constant name (kMediaFileDataIDTitle), its short\n"
               "form (Title) or its display name (\"Track Number\"), in any case. 'kestrabel-tag\n"
               "names' lists them all.\n\n"
               "Files are read and saved with the interop profile: where a classic rule of the\n"
               "tag library would lose, corrupt or hide what another tool wrote (ID3v2.4 sizes,\n"
               "TSSE taken for the ISRC, ID3 chunks rewritten as 2.2, co64 tables, fragmented\n"
               "MP4, ...), today's conventions are followed. --classic, accepted by every file\n"
               "command, keeps the classic rules exactly.\n\n"
               "'kestrabel-tag COMMAND --help' explains a command.\n",
               out);
}

static int runNames()
{
    std::printf("%-6s %-40s %-26s %s\n", "ID", "constant", "display name", "type");
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        const char *type = info->valueType == 'I' ? "integer" : info->valueType == 'S' ? "text"
                           : info->valueType == 'D' ? "bytes" : info->valueType == 'P' ? "text from path" : "name only";
        std::printf("%-6d %-40s %-26s %s%s\n", info->dataID, info->constantName, info->displayName, type,
                    info->readOnly && info->valueType != '-' ? ", read-only" : "");
    }
    return 0;
}

} // namespace kestrabel::cli

int main(int argc, char **argv)
{
    using namespace kestrabel::cli;
    if (argc < 2) {
        printMainHelp(stderr);
        return 2;
    }
    std::string name = argv[1];
    if (name == "-h" || name == "--help" || name == "help") {
        if (argc > 2) {
            for (const Command &command : commands())
                if (command.name == std::string(argv[2])) {
                    std::fputs(command.help, stdout);
                    return 0;
                }
        }
        printMainHelp(stdout);
        return 0;
    }
    if (name == "--version") {
        std::printf("kestrabel-tag %s\n", KESTRABEL_VERSION);
        return 0;
    }
    if (name == "names")
        return runNames();
    if (name == "--generate") {
        // The build makes the man page and the shell completions with this.
        char *text = nullptr;
        size_t length = 0;
        FILE *help = open_memstream(&text, &length);
        printMainHelp(help);
        std::fclose(help);
        std::string mainHelp(text, length);
        std::free(text);
        return runGenerate(argc > 2 ? argv[2] : "", mainHelp);
    }
    Args args(argv + 2, argv + argc);
    for (const Command &command : coreCommands())
        if (command.name == name)
            return command.run(args);
    for (const Command &command : commands())
        if (command.name == name)
            return command.run(args);
    printError("unknown command '" + name + "'");
    printMainHelp(stderr);
    return 2;
}
