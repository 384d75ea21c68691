// A file that appears under its name only when it is complete.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace ravo {

struct CloseFile {
    void operator()(FILE* pFile) const noexcept { std::fclose(pFile); }
};
using File = std::unique_ptr<FILE, CloseFile>;

/// Opens or throws.
File openFile(const std::string& path, const char* pMode);

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
