// What rectangles cover of a row, kept up to date as they come and go: a tree over the places where one starts or ends.
// A change takes the logarithm of their number, telling the covered runs that for each run, however many rectangles lie
// upon each other.
#pragma once

#include <algorithm>
#include <bit>

#include "internal/rvclasses_.h"

namespace rv {

class Coverage {
    enum State : uint8_t { kOut, kIn, kMixed };
    struct Node {
        uint32_t nCount;  // rectangles over the node's whole width, but not over that of the node above
        State state;      // of the node's places, without what lies over the nodes above
    };
    Buffer<int32_t> m_xs;
    size_t m_nXs = 0, m_nLeaves = 0;
    Buffer<Node> m_nodes;  // 1 is the root, the halves of node i are 2 i and 2 i + 1
    bool m_bParity = false;

    void settle(size_t i) noexcept {
        State below = kOut;
        if (i < m_nLeaves) below = m_nodes[2 * i].state == m_nodes[2 * i + 1].state ? m_nodes[2 * i].state : kMixed;
        Node& node = m_nodes[i];
        if (m_bParity)
            node.state = node.nCount % 2 && below != kMixed ? State(kIn - below) : below;
        else
            node.state = node.nCount ? kIn : below;
    }
    void change(size_t i, size_t nLo, size_t nHi, size_t nFrom, size_t nTo, uint32_t uBy) noexcept {
        if (nFrom <= nLo && nHi <= nTo) {
            m_nodes[i].nCount += uBy;
        } else {
            const size_t nMid = nLo + (nHi - nLo) / 2;
            if (nFrom < nMid) change(2 * i, nLo, nMid, nFrom, nTo, uBy);
            if (nTo > nMid) change(2 * i + 1, nMid, nHi, nFrom, nTo, uBy);
        }
        settle(i);
    }
    template <class F>
    void tell(size_t i, size_t nLo, size_t nHi, bool bInverted, F& f) const {
        const Node& node = m_nodes[i];
        if (node.state == kMixed) {
            const bool bBelow = bInverted != (node.nCount % 2 != 0);  // in a union nothing lies over a mixed node
            const size_t nMid = nLo + (nHi - nLo) / 2;
            tell(2 * i, nLo, nMid, bBelow, f);
            tell(2 * i + 1, nMid, nHi, bBelow, f);
        } else if ((node.state == kIn) != bInverted) {
            f(m_xs[nLo], m_xs[nHi]);
        }
    }
    size_t placeOf(int32_t x) const noexcept {
        return size_t(std::lower_bound(m_xs.get(), m_xs.get() + m_nXs, x) - m_xs.get());
    }

public:
    // For rectangles of which none is empty. With bParity a place counts that an odd number of them covers.
    bool prepare(const RECT* pRects, size_t nRects, bool bParity) noexcept {
        m_bParity = bParity;
        if (!m_xs.allocate(2 * uint64_t(nRects))) return false;
        for (size_t i = 0; i < nRects; ++i) {
            m_xs[2 * i] = pRects[i].left;
            m_xs[2 * i + 1] = pRects[i].right;
        }
        std::sort(m_xs.get(), m_xs.get() + 2 * nRects);
        m_nXs = size_t(std::unique(m_xs.get(), m_xs.get() + 2 * nRects) - m_xs.get());
        m_nLeaves = std::bit_ceil(m_nXs);
        return m_nodes.allocateCleared(2 * uint64_t(m_nLeaves));
    }
    void come(const RECT& r) noexcept { change(1, 0, m_nLeaves, placeOf(r.left), placeOf(r.right), 1); }
    void go(const RECT& r) noexcept { change(1, 0, m_nLeaves, placeOf(r.left), placeOf(r.right), UINT32_MAX); }

    // f(left, right) from left to right; what one run covers may come in pieces that touch.
    template <class F>
    void forEachPiece(F&& f) const {
        tell(1, 0, m_nLeaves, false, f);
    }
};

}  // namespace rv
