// Helpers every test folder shares.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kestrabel::test {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::filesystem::path &path() const { return path_; }
    std::string file(const std::string &name) const { return (path_ / name).string(); }
    // Copies tests/data/<name> into the folder and returns the copy's path.
    std::string copyFixture(const std::string &name, const std::string &as = {}) const;

private:
    std::filesystem::path path_;
};

std::string fixturePath(const std::string &name);
std::vector<uint8_t> readFile(const std::string &path);
void writeFile(const std::string &path, const std::vector<uint8_t> &bytes);
void writeFile(const std::string &path, const std::string &text);

// Runs a shell command; returns its exit status and fills *output with stdout (and stderr when
// mergeStderr).
int runCommand(const std::string &command, std::string *output = nullptr, bool mergeStderr = false);
// Whether a program is on PATH (interop tests skip without their peer tool).
bool haveTool(const std::string &name);
// Shell-quotes one argument.
std::string shellQuote(const std::string &text);
// ffmpeg's per-frame checksums of every decoded audio stream: equal strings, equal audio.
std::string decodedAudio(const std::string &path);
// The kestrabel-tag binary of this build.
std::string cliPath();

// RAII handle for tests.
class OpenFile {
public:
    explicit OpenFile(const std::string &path, MediaFileFlags flags = 0);
    ~OpenFile();
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    MediaFileStatus status() const { return status_; }
    MediaFileRef ref() const { return ref_; }
    MediaFileStatus close();
    // Convenience getters; the status goes to *status when given.
    std::string string(MediaFileDataID id, MediaFileStatus *status = nullptr) const;
    int32_t integer(MediaFileDataID id, MediaFileStatus *status = nullptr) const;
    std::vector<uint8_t> data(MediaFileDataID id, MediaFileStatus *status = nullptr) const;

private:
    MediaFileRef ref_ = nullptr;
    MediaFileStatus status_;
};

} // namespace kestrabel::test
