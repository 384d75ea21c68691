// Files as a whole, and one that appears under its name only when it is complete.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace ravo {

struct CloseFile {
    void operator()(FILE* pFile) const noexcept { std::fclose(pFile); }
};
using File = std::unique_ptr<FILE, CloseFile>;

/// Opens or throws.
File openFile(const std::string& path, const char* pMode);

/// All bytes of a file.
std::vector<uint8_t> readFile(const std::string& path);
/// Writes a file of two parts.
void writeFile(const std::string& path, std::span<const uint8_t> first, std::span<const uint8_t> second = {});

class OutputFile {
    std::string m_target, m_temporary;

public:
    /// Makes an empty file under a temporary name beside the target, with the target's permissions if there is one.
    explicit OutputFile(const std::string& target);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    /// Without commit the temporary file goes, and an older target stays as it was.
    ~OutputFile();

    const std::string& path() const noexcept { return m_temporary; }
    void commit();
};

}  // namespace ravo
