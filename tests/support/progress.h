// What the thread's status callback hears.
#pragma once

#include <vector>

#include "ravokit/frame.h"

namespace test {

// Hears every percent for the time of a scope; stops the operation at call nCalls, from 0.
struct Progress {
    static constexpr int32_t kStopped = -777;
    std::vector<int32_t> heard;
    int nLeft;
    explicit Progress(int nCalls = 1000) : nLeft(nCalls) {
        R_SetStatusCallBack(
            [](int32_t nPercent, void* p) -> int32_t {
                auto& self = *static_cast<Progress*>(p);
                self.heard.push_back(nPercent);
                return self.nLeft-- > 0 ? 1 : kStopped;
            },
            this, nullptr, nullptr);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
};

}  // namespace test
