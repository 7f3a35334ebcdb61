#include "meshes/queries/CBoxHierarchy.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Corvane::Pellix::Quorvel {

namespace {

constexpr int BinCount = 16;

// Rounded outwards, so that the float box still holds the double one. NaN
// stays NaN: traversals read a NaN bound as "no bound" and visit the node.
float Below(double value) {
    float f = static_cast<float>(value);
    if (static_cast<double>(f) > value) f = std::nextafter(f, -std::numeric_limits<float>::infinity());
    return f;
}

float Above(double value) {
    float f = static_cast<float>(value);
    if (static_cast<double>(f) < value) f = std::nextafter(f, std::numeric_limits<float>::infinity());
    return f;
}

class CBounds {
public:
    double m_Min[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
    double m_Max[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

    void Extend(const double* low, const double* high) {
        for (int k = 0; k < 3; ++k) {
            m_Min[k] = std::min(m_Min[k], low[k]);
            m_Max[k] = std::max(m_Max[k], high[k]);
        }
    }
    void Extend(const CBounds& other) { Extend(other.m_Min, other.m_Max); }
    // Half the surface area, which is all the heuristic compares.
    double GetHalfArea() const {
        const double dx = m_Max[0] - m_Min[0], dy = m_Max[1] - m_Min[1], dz = m_Max[2] - m_Min[2];
        if (!(dx >= 0) || !(dy >= 0) || !(dz >= 0)) return 0;
        return dx * dy + dy * dz + dz * dx;
    }
};

class CTask {
public:
    std::uint32_t m_Node;
    std::uint32_t m_Begin;
    std::uint32_t m_End;
    std::uint32_t m_Depth;
};

}  // namespace

void CBoxHierarchy::Clear() {
    m_Nodes.clear();
    m_Nodes.shrink_to_fit();
    m_Order.clear();
    m_Order.shrink_to_fit();
}

std::size_t CBoxHierarchy::GetMemoryUsage() const {
    return m_Nodes.capacity() * sizeof(CNode) + m_Order.capacity() * sizeof(std::uint32_t);
}

void CBoxHierarchy::Build(const double* boxes, std::uint32_t count, std::uint32_t leafSize) {
    m_Nodes.clear();
    m_Order.resize(count);
    if (count == 0) return;
    leafSize = std::max<std::uint32_t>(leafSize, 1);
    std::vector<double> centres(3 * std::size_t(count));
    for (std::uint32_t i = 0; i < count; ++i) {
        m_Order[i] = i;
        for (int k = 0; k < 3; ++k) {
            double c = 0.5 * (boxes[6 * std::size_t(i) + k] + boxes[6 * std::size_t(i) + 3 + k]);
            // A non-finite centre would poison the bins; such a primitive
            // goes to bin 0 and its box (NaN or infinite) keeps it visited.
            centres[3 * std::size_t(i) + k] = std::isfinite(c) ? c : 0.0;
        }
    }
    m_Nodes.reserve(2 * std::size_t(count / std::max<std::uint32_t>(leafSize / 2, 1)) + 1);
    m_Nodes.push_back(CNode());
    std::vector<CTask> tasks;
    tasks.push_back(CTask{0, 0, count, 0});
    while (!tasks.empty()) {
        const CTask task = tasks.back();
        tasks.pop_back();
        CBounds bounds, centreBounds;
        for (std::uint32_t i = task.m_Begin; i < task.m_End; ++i) {
            const double* box = boxes + 6 * std::size_t(m_Order[i]);
            bounds.Extend(box, box + 3);
            const double* c = &centres[3 * std::size_t(m_Order[i])];
            centreBounds.Extend(c, c);
        }
        CNode& node = m_Nodes[task.m_Node];
        for (int k = 0; k < 3; ++k) {
            node.m_Min[k] = Below(bounds.m_Min[k]);
            node.m_Max[k] = Above(bounds.m_Max[k]);
        }
        const std::uint32_t n = task.m_End - task.m_Begin;
        auto makeLeaf = [&]() {
            m_Nodes[task.m_Node].m_First = task.m_Begin;
            m_Nodes[task.m_Node].m_Count = n;
        };
        if (n <= 1) {
            makeLeaf();
            continue;
        }
        int axis = 0;
        for (int k = 1; k < 3; ++k)
            if (centreBounds.m_Max[k] - centreBounds.m_Min[k] > centreBounds.m_Max[axis] - centreBounds.m_Min[axis])
                axis = k;
        const double low = centreBounds.m_Min[axis];
        const double extent = centreBounds.m_Max[axis] - low;
        std::uint32_t middle = task.m_Begin;
        const bool coincident = !(extent > 0);
        if (!coincident && task.m_Depth < MaxDepth - 40) {
            CBounds binBounds[BinCount];
            std::uint32_t binCounts[BinCount] = {};
            const double scale = BinCount / extent;
            auto binOf = [&](std::uint32_t primitive) {
                const int b = static_cast<int>((centres[3 * std::size_t(primitive) + axis] - low) * scale);
                return std::min(std::max(b, 0), BinCount - 1);
            };
            for (std::uint32_t i = task.m_Begin; i < task.m_End; ++i) {
                const int b = binOf(m_Order[i]);
                const double* box = boxes + 6 * std::size_t(m_Order[i]);
                binBounds[b].Extend(box, box + 3);
                ++binCounts[b];
            }
            // Sweep from the right for the suffix areas, then from the left.
            double rightArea[BinCount];
            std::uint32_t rightCount[BinCount];
            CBounds sweep;
            std::uint32_t sum = 0;
            for (int b = BinCount - 1; b > 0; --b) {
                sweep.Extend(binBounds[b]);
                sum += binCounts[b];
                rightArea[b] = sweep.GetHalfArea();
                rightCount[b] = sum;
            }
            CBounds left;
            std::uint32_t leftCount = 0;
            double bestCost = HUGE_VAL;
            int bestSplit = -1;
            for (int b = 1; b < BinCount; ++b) {
                left.Extend(binBounds[b - 1]);
                leftCount += binCounts[b - 1];
                if (leftCount == 0 || rightCount[b] == 0) continue;
                const double cost = left.GetHalfArea() * leftCount + rightArea[b] * rightCount[b];
                if (cost < bestCost) {
                    bestCost = cost;
                    bestSplit = b;
                }
            }
            // Traversing a node costs about as much as testing one
            // primitive; a small set stays a leaf unless splitting pays.
            const double area = bounds.GetHalfArea();
            if (n <= leafSize && (bestSplit < 0 || !(bestCost < (double(n) - 1) * area))) {
                makeLeaf();
                continue;
            }
            if (bestSplit > 0) {
                middle = static_cast<std::uint32_t>(
                    std::partition(m_Order.begin() + task.m_Begin, m_Order.begin() + task.m_End,
                                   [&](std::uint32_t p) { return binOf(p) < bestSplit; }) -
                    m_Order.begin());
            }
        } else if (n <= leafSize) {
            makeLeaf();
            continue;
        }
        if (middle == task.m_Begin || middle == task.m_End) {
            // No useful bin split (all centres in one bin, or a tree grown
            // too deep): halve at the median centre, or by position in the
            // order when the centres coincide.
            middle = task.m_Begin + n / 2;
            if (!coincident)
                std::nth_element(m_Order.begin() + task.m_Begin, m_Order.begin() + middle,
                                 m_Order.begin() + task.m_End, [&](std::uint32_t a, std::uint32_t b) {
                                     return centres[3 * std::size_t(a) + axis] < centres[3 * std::size_t(b) + axis];
                                 });
        }
        const std::uint32_t children = static_cast<std::uint32_t>(m_Nodes.size());
        m_Nodes[task.m_Node].m_First = children;
        m_Nodes[task.m_Node].m_Count = 0;
        m_Nodes.push_back(CNode());
        m_Nodes.push_back(CNode());
        tasks.push_back(CTask{children + 1, middle, task.m_End, task.m_Depth + 1});
        tasks.push_back(CTask{children, task.m_Begin, middle, task.m_Depth + 1});
    }
}

}  // namespace Corvane::Pellix::Quorvel
