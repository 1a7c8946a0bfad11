#include "TestSupport.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <utility>

namespace kestrabel::test {

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "kestrabel-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::copyFixture(const std::string &name, const std::string &as) const
{
    std::string target = file(as.empty() ? std::filesystem::path(name).filename().string() : as);
    std::filesystem::copy_file(fixturePath(name), target, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::permissions(target, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::add);
    return target;
}

std::string fixturePath(const std::string &name) { return std::string(KESTRABEL_TEST_DATA) + "/" + name; }

std::vector<uint8_t> readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string &path, const std::vector<uint8_t> &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void writeFile(const std::string &path, const std::string &text) { writeFile(path, std::vector<uint8_t>(text.begin(), text.end())); }

int runCommand(const std::string &command, std::string *output, bool mergeStderr)
{
    FILE *pipe = popen((command + (mergeStderr ? " 2>&1" : "")).c_str(), "r");
    if (!pipe)
        return -1;
    std::string collected;
    for (char buffer[4096]; const size_t n = fread(buffer, 1, sizeof buffer, pipe);)
        collected.append(buffer, n);
    const int status = pclose(pipe);
    if (output)
        *output = collected;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool haveTool(const std::string &name) { return runCommand("command -v " + shellQuote(name) + " >/dev/null 2>&1") == 0; }

std::string shellQuote(const std::string &text)
{
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string cliPath() { return KESTRABEL_CLI_PATH; }

std::string decodedAudio(const std::string &path)
{
    std::string output;
    runCommand("ffmpeg -nostdin -v error -i " + shellQuote(path) + " -map 0:a -fflags +bitexact -f framemd5 - 2>/dev/null", &output);
    return output;
}

OpenFile::OpenFile(const std::string &path, MediaFileFlags flags) : status_(MediaFileOpen(path.c_str(), &ref_, flags)) {}

OpenFile::~OpenFile() { close(); }

MediaFileStatus OpenFile::close() { return ref_ ? MediaFileClose(std::exchange(ref_, nullptr)) : kMediaFileNoErr; }

// The getters report their status when asked and free what the library handed out.
static MediaFileStatus report(MediaFileStatus result, MediaFileStatus *status) { return status ? *status = result : result; }

std::string OpenFile::string(MediaFileDataID id, MediaFileStatus *status) const
{
    char *text = nullptr;
    const std::string value = report(MediaFileGetString(ref_, id, &text), status) == kMediaFileNoErr && text ? text : "";
    return std::free(text), value;
}

int32_t OpenFile::integer(MediaFileDataID id, MediaFileStatus *status) const
{
    int32_t value = 0;
    return report(MediaFileGetInteger(ref_, id, &value), status), value;
}

std::vector<uint8_t> OpenFile::data(MediaFileDataID id, MediaFileStatus *status) const
{
    void *bytes = nullptr;
    size_t length = 0;
    const bool ok = report(MediaFileGetData(ref_, id, &bytes, &length), status) == kMediaFileNoErr && bytes;
    std::vector<uint8_t> value(ok ? static_cast<uint8_t *>(bytes) : nullptr, ok ? static_cast<uint8_t *>(bytes) + length : nullptr);
    return std::free(bytes), value;
}

} // namespace kestrabel::test
