// Redirection to memory: a buffer stands in for whatever file its thread opens.
#include <algorithm>
#include <cstring>
#include <new>

#include "internal/redirect_.h"
#include "ravokit/memory.h"

struct RBUFFERIO {
    char magic[4];
    void* pBuffer;
    uint32_t uCapacity, uLength;
    uint64_t uPosition;  // anything: it is looked at by who reads and writes
    uint32_t uFlags;
    REDIRECTIO table;    // what the thread's slots were
    const void* pGiven;  // the buffer that the caller knows
};

namespace rv {
namespace {

constexpr char kMagic[] = {'R', 'B', 'U', 'F'};
constexpr uint64_t kGrowth = 32768;

bool isRedirection(const RBUFFERIO* p) noexcept { return p && std::memcmp(p->magic, kMagic, sizeof kMagic) == 0; }

// A failure leaves the buffer as it was.
bool resize(RBUFFERIO& io, uint64_t uCapacity) noexcept {
    if (uCapacity > UINT32_MAX || (io.pBuffer && !WinGlobalHandle(io.pBuffer))) return false;
    void* p = io.pBuffer ? R_GlobalRealloc(io.pBuffer, uint32_t(uCapacity))
                         : R_GlobalAlloc(uint32_t(uCapacity), 1, 0, nullptr);
    if (!p) return false;
    io.pBuffer = p;
    io.uCapacity = uint32_t(uCapacity);
    return true;
}

constexpr uint64_t roundedUp(uint64_t u) noexcept { return (u + kGrowth - 1) / kGrowth * kGrowth; }

RVFILE openBuffer(const char16_t*, int32_t nFlags, int32_t, void* pUserData) noexcept {
    auto& io = *static_cast<RBUFFERIO*>(pUserData);
    io.uPosition = 0;
    if (nFlags & kOpenTruncate) io.uLength = 0;
    return &io;
}

int32_t readBuffer(RVFILE hFile, void* pBuffer, uint32_t uBytes, void*) noexcept {
    auto& io = *static_cast<RBUFFERIO*>(hFile);
    if (io.uPosition > io.uLength || !io.pBuffer || (!pBuffer && uBytes)) return -1;
    const auto n = uint32_t(std::min<uint64_t>({uBytes, io.uLength - io.uPosition, INT32_MAX}));
    if (n) std::memcpy(pBuffer, static_cast<const uint8_t*>(io.pBuffer) + io.uPosition, n);
    io.uPosition += n;
    return int32_t(n);
}

int32_t writeBuffer(RVFILE hFile, const void* pBuffer, uint32_t uBytes, void*) noexcept {
    auto& io = *static_cast<RBUFFERIO*>(hFile);
    if (!(io.uFlags & RV_BUFFER_WRITABLE) || (!pBuffer && uBytes)) return -1;
    uBytes = std::min<uint32_t>(uBytes, INT32_MAX);
    const bool bGrows = uBytes && io.uPosition <= UINT32_MAX && io.uPosition + uBytes > io.uCapacity;
    if (bGrows && (io.uFlags & RV_BUFFER_GROWS)) resize(io, roundedUp(io.uPosition + uBytes));
    if (io.uPosition > io.uCapacity) return -1;
    const auto n = uint32_t(std::min<uint64_t>(uBytes, io.uCapacity - io.uPosition));
    if (n) std::memcpy(static_cast<uint8_t*>(io.pBuffer) + io.uPosition, pBuffer, n);
    io.uPosition += n;
    io.uLength = uBytes ? std::max(io.uLength, uint32_t(io.uPosition)) : uint32_t(io.uPosition);
    return int32_t(n);
}

int64_t seekBuffer(RVFILE hFile, int64_t nOffset, int32_t nOrigin, void*) noexcept {
    auto& io = *static_cast<RBUFFERIO*>(hFile);
    const uint64_t bases[] = {0, io.uPosition, io.uLength};
    if (nOrigin < 0 || nOrigin > 2) return -1;
    io.uPosition = bases[nOrigin] + uint64_t(nOffset);
    return int64_t(io.uPosition);
}

int32_t closeBuffer(RVFILE hFile, void*) noexcept {
    auto& io = *static_cast<RBUFFERIO*>(hFile);
    constexpr uint32_t kCut = RV_BUFFER_GROWS | RV_BUFFER_CUT;
    if (io.uLength < io.uCapacity && (io.uFlags & (kCut | RV_BUFFER_HAS_DATA)) == kCut) resize(io, io.uLength);
    return 0;
}

REDIRECTIO bufferTable(RBUFFERIO* p) noexcept {
    return {sizeof(REDIRECTIO), 0, openBuffer,  p, readBuffer, p,       writeBuffer, p,
            seekBuffer,         p, closeBuffer, p, nullptr,    nullptr, nullptr,     nullptr};
}

void exchangeWithThread(REDIRECTIO& t) noexcept {
    R_FilterIO(&t.pfnOpen, &t.pfnRead, &t.pfnWrite, &t.pfnSeek, &t.pfnClose, &t.pOpenUserData, &t.pReadUserData,
               &t.pWriteUserData, &t.pSeekUserData, &t.pCloseUserData);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_StartRedirectToBuffer(RVBUFFERIO* phBuffer, RVFILE* phFile, uint32_t uFlags, void* pBuffer,
                                uint32_t uSize) noexcept {
    if (!phBuffer) return -13;  // Invalid parameter passed
    auto* p = new (std::nothrow) RBUFFERIO{};
    if (!p) return -1;  // Not enough memory available
    std::memcpy(p->magic, kMagic, sizeof kMagic);
    p->pGiven = p->pBuffer = pBuffer;
    p->uCapacity = pBuffer ? uSize : 0;
    p->uLength = uFlags & RV_BUFFER_HAS_DATA ? p->uCapacity : 0;
    p->uFlags = uFlags;
    p->table = bufferTable(p);
    if (phFile) {
        RFILEHANDLE* pFile = newWrapper(p, p->table, RedirectKind::registered);
        if (!pFile) {
            delete p;
            return -1;  // Not enough memory available
        }
        *phFile = pFile;
    }
    exchangeWithThread(p->table);
    *phBuffer = p;
    return 1;
}

int32_t R_StopRedirectToBuffer(RVBUFFERIO hBuffer, void** ppBuffer, uint32_t* puLength) noexcept {
    if (!isRedirection(hBuffer)) return -13;  // Invalid parameter passed
    exchangeWithThread(hBuffer->table);
    if (ppBuffer)
        *ppBuffer = hBuffer->pBuffer;
    else if (hBuffer->pBuffer != hBuffer->pGiven)
        R_GlobalFree(hBuffer->pBuffer);
    if (puLength) *puLength = hBuffer->uLength;
    delete hBuffer;
    return 1;
}

}  // extern "C"
