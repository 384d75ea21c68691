// Frames come line by line straight into their bitmaps, as giflib's own way of reading all would hold them twice.
#include "gif.h"

#include <cstring>
#include <memory>

#include "failure.h"
#include "formats.h"
#include "outfile.h"
#include "progress.h"

// Behind the library's headers: both have a DISPOSE_BACKGROUND, of the same value.
#include <gif_lib.h>

namespace ravo {

namespace {

constexpr uint32_t kMillisecondsPerTick = 10;

struct CloseGif {
    void operator()(GifFileType* pGif) const noexcept { DGifCloseFile(pGif, nullptr); }
};
using Gif = std::unique_ptr<GifFileType, CloseGif>;

[[noreturn]] void fail(int nError) {
    const char* pText = GifErrorString(nError);
    throw Failure(std::string("is damaged: ") + (pText ? pText : "unknown error"));
}

void checkGif(const Gif& gif, int nResult) {
    if (nResult == GIF_ERROR) fail(gif->Error);
}

int readBytes(GifFileType* pGif, GifByteType* p, int nBytes) {
    return int(std::fread(p, 1, size_t(nBytes), static_cast<FILE*>(pGif->UserData)));
}

COLORREF colorOf(const GifColorType& color) noexcept {
    return COLORREF(color.Red | color.Green << 8 | color.Blue << 16);
}

Palette paletteOf(const ColorMapObject& map) {
    Palette palette;
    for (int i = 0; i < map.ColorCount; ++i) {
        const GifColorType& color = map.Colors[i];
        palette.push_back({color.Blue, color.Green, color.Red, 0});
    }
    return palette;
}

// Calls onRow for the rows of a frame in the order in which a file has them.
template <class OnRow>
void visitRows(int32_t nHeight, bool bInterlaced, OnRow&& onRow) {
    static constexpr struct { int32_t nFirst, nStep; } kPasses[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
    if (!bInterlaced) {
        for (int32_t y = 0; y < nHeight; ++y) onRow(y);
        return;
    }
    for (const auto& pass : kPasses)
        for (int32_t y = pass.nFirst; y < nHeight; y += pass.nStep) onRow(y);
}

// What stands before a frame and is about it.
struct Control {
    GraphicsControlBlock block{DISPOSAL_UNSPECIFIED, false, 0, NO_TRANSPARENT_COLOR};

    void apply(BITMAPRECORD& frame) const noexcept {
        frame.Delay = uint32_t(block.DelayTime) * kMillisecondsPerTick;
        frame.DisposalMethod = uint32_t(block.DisposalMode);  // the values are the same
        if (block.UserInputFlag) frame.Flags |= BMF_WAIT_USER_INPUT;
        if (block.TransparentColor == NO_TRANSPARENT_COLOR) return;
        // By its index, as another entry may have the same colour and be seen.
        frame.Transparency = kIndexReference | COLORREF(block.TransparentColor);
        frame.Flags |= BMF_TRANSPARENCY;
    }
};

Picture readFrame(const Gif& gif) {
    checkGif(gif, DGifGetImageDesc(gif.get()));
    const GifImageDesc& image = gif->Image;
    checkSize(uint64_t(image.Width), uint64_t(image.Height));
    const ColorMapObject* pMap = image.ColorMap ? image.ColorMap : gif->SColorMap;
    if (!pMap) throw Failure("is damaged: a frame has no palette");
    Picture frame(image.Width, image.Height, 8, ORDER_RGB, paletteOf(*pMap));
    frame->Left = image.Left;
    frame->Top = image.Top;
    Row row(frame->BytesPerLine);
    const Access lock(frame);
    visitRows(image.Height, image.Interlace, [&](int32_t y) {
        checkGif(gif, DGifGetLine(gif.get(), row.data(), image.Width));
        putRow(frame, row.data(), y);
    });
    return frame;
}

// Blocks begin with their length. An animation that is to be repeated tells so in a block of an application's.
void readExtension(const Gif& gif, Control& control, uint32_t& uPlays) {
    int nCode = 0;
    GifByteType* p = nullptr;
    checkGif(gif, DGifGetExtension(gif.get(), &nCode, &p));
    if (p && nCode == GRAPHICS_EXT_FUNC_CODE) {
        if (DGifExtensionToGCB(p[0], p + 1, &control.block) == GIF_ERROR) fail(D_GIF_ERR_IMAGE_DEFECT);
    }
    const bool bLoops = p && nCode == APPLICATION_EXT_FUNC_CODE && p[0] == 11 &&
                        (std::memcmp(p + 1, "NETSCAPE2.0", 11) == 0 || std::memcmp(p + 1, "ANIMEXTS1.0", 11) == 0);
    while (p) {
        checkGif(gif, DGifGetExtensionNext(gif.get(), &p));
        if (!bLoops || !p || p[0] < 3 || (p[1] & 7) != 1) continue;
        const uint32_t uRepeats = uint32_t(p[2] | p[3] << 8);
        uPlays = uRepeats ? uRepeats + 1 : 0;
    }
}

void readRecords(const Gif& gif, Animation& animation) {
    Control control;
    for (;;) {
        GifRecordType record = UNDEFINED_RECORD_TYPE;
        checkGif(gif, DGifGetRecordType(gif.get(), &record));
        if (record == TERMINATE_RECORD_TYPE) return;
        if (record == EXTENSION_RECORD_TYPE) readExtension(gif, control, animation.uPlays);
        if (record != IMAGE_DESC_RECORD_TYPE) continue;
        Picture frame = readFrame(gif);
        std::exchange(control, {}).apply(*frame);
        animation.frames.append(std::move(frame));
    }
}

}  // namespace

FrameList::FrameList() { check(R_CreateBitmapList(&m_hList), "R_CreateBitmapList"); }

uint32_t FrameList::count() const noexcept {
    uint32_t uCount = 0;
    R_GetBitmapListCount(m_hList, &uCount);
    return uCount;
}

BITMAPRECORD FrameList::at(uint32_t uIndex) const noexcept {
    BITMAPRECORD frame{};
    R_GetBitmapListItem(m_hList, uIndex, &frame, sizeof frame);
    return frame;
}

void FrameList::append(Picture frame) {
    check(R_InsertBitmapListItem(m_hList, UINT32_MAX, frame.get()), "R_InsertBitmapListItem");
    *frame = {};  // the list has it now
}

bool isGifFile(const std::string& path) {
    char start[6];
    const File file = openFile(path, "rb");
    if (std::fread(start, 1, sizeof start, file.get()) != sizeof start) return false;
    return std::memcmp(start, "GIF87a", 6) == 0 || std::memcmp(start, "GIF89a", 6) == 0;
}

Animation loadGif(const std::string& path) {
    if (!isGifFile(path)) throw Failure("is no GIF file");
    const Progress progress("loading " + path.substr(path.rfind('/') + 1));
    const File file = openFile(path, "rb");
    int nError = 0;
    const Gif gif(DGifOpen(file.get(), readBytes, &nError));
    if (!gif) fail(nError);
    checkSize(uint64_t(gif->SWidth), uint64_t(gif->SHeight));
    Animation animation;
    animation.size = {gif->SWidth, gif->SHeight};
    if (const ColorMapObject* pMap = gif->SColorMap; pMap && gif->SBackGroundColor < pMap->ColorCount)
        animation.background = colorOf(pMap->Colors[gif->SBackGroundColor]);
    readRecords(gif, animation);
    if (animation.frames.count() == 0) throw Failure("has no frames");
    return animation;
}

Picture canvasOf(const Animation& animation) {
    Picture canvas(animation.size.width, animation.size.height, 24, ORDER_BGR);
    canvas->Background = animation.background;
    return canvas;
}

}  // namespace ravo
