#include "outfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace ravo {

namespace {

[[noreturn]] void failSystem(const std::string& what) { throw Failure(what + ": " + std::strerror(errno)); }

}  // namespace

File openFile(const std::string& path, const char* pMode) {
    File file(std::fopen(path.c_str(), pMode));
    if (!file) failSystem("cannot be opened");
    return file;
}

std::vector<uint8_t> readFile(const std::string& path) {
    const File file = openFile(path, "rb");
    std::vector<uint8_t> bytes;
    uint8_t part[1 << 16];
    for (size_t n; (n = std::fread(part, 1, sizeof part, file.get())) > 0;) bytes.insert(bytes.end(), part, part + n);
    if (std::ferror(file.get())) throw Failure("cannot be read");
    return bytes;
}

void writeFile(const std::string& path, std::span<const uint8_t> first, std::span<const uint8_t> second) {
    File file = openFile(path, "wb");
    bool bWritten = true;
    for (const auto part : {first, second})
        if (!part.empty()) bWritten &= std::fwrite(part.data(), 1, part.size(), file.get()) == part.size();
    if (std::fclose(file.release()) != 0 || !bWritten) throw Failure("cannot be written");
}

OutputFile::OutputFile(const std::string& target) : m_target(target) {
    struct stat info {};
    mode_t uMode;
    if (stat(target.c_str(), &info) == 0) {
        if (!S_ISREG(info.st_mode)) throw Failure("is there already, and is not a regular file");
        uMode = info.st_mode & 07777;
        if (char* pReal = realpath(target.c_str(), nullptr)) {  // a link stays a link
            m_target = pReal;
            std::free(pReal);
        }
    } else {
        const mode_t uMask = umask(0);
        umask(uMask);
        uMode = 0666 & ~uMask;
    }
    const size_t nSlash = m_target.rfind('/');
    const size_t nName = nSlash == std::string::npos ? 0 : nSlash + 1;
    std::string pattern = m_target.substr(0, nName) + "." + m_target.substr(nName) + ".XXXXXX";
    const int fd = mkstemp(pattern.data());
    if (fd < 0) failSystem("cannot be written");
    m_temporary = pattern;
    fchmod(fd, uMode);
    close(fd);
}

OutputFile::~OutputFile() {
    if (!m_temporary.empty()) unlink(m_temporary.c_str());
}

void OutputFile::commit() {
    if (std::rename(m_temporary.c_str(), m_target.c_str()) != 0) failSystem("cannot be replaced");
    m_temporary.clear();
}

}  // namespace ravo
