// Bare samples of video: one frame, without a header.
#include <ravokit/yuv.h>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "outfile.h"

namespace ravo {

namespace {

void checkSamples(int32_t nStatus, const char* pCall) {
    if (nStatus == -1783) throw Failure("has another length than a frame of this size");
    if (nStatus == -11) throw Failure("cannot be of this size: two pixels share their colour");
    check(nStatus, pCall);
}

template <int32_t Layout>
Picture load(const std::string& path, SIZE size) {
    const Row samples = readFile(path);
    if (samples.size() > UINT32_MAX) throw Failure("is too large");
    YUVDESCRIPTOR frame{};
    frame.Width = size.width;
    frame.Height = size.height;
    frame.pYBuffer = samples.data();
    frame.uYSize = uint32_t(samples.size());
    frame.nFormat = Layout;
    Picture picture;
    checkSamples(R_BitmapFromYUV(picture.get(), sizeof(BITMAPRECORD), &frame, 24), "R_BitmapFromYUV");
    return picture;
}

template <int32_t Layout>
void save(Picture& picture, const std::string& path) {
    Picture turned = upright(picture);  // samples go by stored rows
    Picture colors = convertPicture(turned, {24, ORDER_BGR});
    uint32_t nBytes = 0;
    checkSamples(R_GetBitmapYUVData(colors.get(), nullptr, &nBytes, Layout), "R_GetBitmapYUVData");
    Row samples(nBytes);
    checkSamples(R_GetBitmapYUVData(colors.get(), samples.data(), &nBytes, Layout), "R_GetBitmapYUVData");
    writeFile(path, samples);
}

}  // namespace

const Format kI420{"I420", ".i420 .yuv", nullptr, nullptr, save<YUV_PLANAR_420>, load<YUV_PLANAR_420>};
const Format kNv12{"NV12", ".nv12", nullptr, nullptr, save<YUV_NV12>, load<YUV_NV12>};
const Format kNv21{"NV21", ".nv21", nullptr, nullptr, save<YUV_NV21>, load<YUV_NV21>};
const Format kYuy2{"YUY2", ".yuy2", nullptr, nullptr, save<YUV_YUY2>, load<YUV_YUY2>};

}  // namespace ravo
