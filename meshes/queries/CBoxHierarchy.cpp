#include "quorvel/meshes/queries/CBoxHierarchy.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "quorvel/maths/Limits.h"
#include "quorvel/meshes/queries/QueryOrder.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Corvane::Pellix::Quorvel {

namespace {

constexpr int BinCount = 16;
// Ranges of at most this many primitives are split by a sweep over their
// sorted centres rather than by bins.
constexpr std::uint32_t SweepSize = 8;

// Below this many primitives a tree is grown on one thread.
constexpr std::int64_t ParallelBuildSize = 1 << 15;
// Below this many the passes that only copy (the references in, the order
// out, the subtrees joined) stay on one thread: in huge pages they take a
// millisecond or two, and every parallel loop waits for the last thread to
// arrive, which on a core busy with other work can take longer than that.
constexpr std::int64_t ParallelCopySize = 1 << 18;
constexpr std::size_t NoLimit = ~std::size_t(0);
// Below this many primitives the Morton build sorts its keys by comparison.
constexpr std::uint32_t SmallSortSize = 512;
// Ranges a large tree is cut into before they grow in parallel.
constexpr std::size_t SubtreeCount = 16;

constexpr double FloatMax = Sarvetta::LargestFloat;

// Grow keeps its bounds in single precision, as the references are: the
// passes over them then work on twice the values per instruction.
template <typename T>
class TBounds {
public:
    T m_Min[3] = {T(HUGE_VAL), T(HUGE_VAL), T(HUGE_VAL)};
    T m_Max[3] = {T(-HUGE_VAL), T(-HUGE_VAL), T(-HUGE_VAL)};

    template <typename Real>
    void Extend(const Real* low, const Real* high) {
        for (int k = 0; k < 3; ++k) {
            m_Min[k] = std::min(m_Min[k], T(low[k]));
            m_Max[k] = std::max(m_Max[k], T(high[k]));
        }
    }
    void Extend(const TBounds& other) { Extend(other.m_Min, other.m_Max); }
    // Half the surface area, which is all the heuristic compares.
    double GetHalfArea() const {
        const double dx = double(m_Max[0]) - m_Min[0], dy = double(m_Max[1]) - m_Min[1],
                     dz = double(m_Max[2]) - m_Min[2];
        if (!(dx >= 0) || !(dy >= 0) || !(dz >= 0))
            return 0;
        return dx * dy + dy * dz + dz * dx;
    }
};

typedef TBounds<double> CBounds;
typedef TBounds<float> CFloatBounds;

// A range still to split, with the bounds of its boxes and of their centres
// when the parent's bins already gave them.
class CTask {
public:
    std::uint32_t m_Node;
    std::uint32_t m_Begin;
    std::uint32_t m_End;
    std::uint32_t m_Depth;
    bool m_Known;
    CFloatBounds m_Bounds;
    CFloatBounds m_CentreBounds;
};

// A primitive as the builder moves it about: its box (rounded outwards to
// single precision, as the nodes will be), its centre and its index, 40
// bytes together, so that every pass over a range reads memory in order.
class CReference {
public:
    float m_Min[3];
    float m_Max[3];
    float m_Centre[3];
    std::uint32_t m_Index;
};

}  // namespace

namespace detail {

namespace {

constexpr std::size_t HugePage = std::size_t(2) << 20;
// From this size on a block is mapped on its own, in whole huge pages. The
// first touch of a fresh small page costs microseconds (more under a
// hypervisor): a tree of 50,000 faces, filling about 6 MB in 1,500 pages,
// spent about as long in those faults as in its own work. A huge page costs one fault and the
// zeroing of 2 MB, which pays from about an eighth of it on; the unused tail
// of the last page is address space, not memory, unless huge pages are on.
constexpr std::size_t MappedBlock = HugePage / 4;
// Huge pages are asked for only up to this size. A larger block's faults are
// a small part of the work that fills it, while its huge pages can cost far
// more: on a virtual machine a 500,000-face build whose largest blocks (16 to
// 36 MB) were on huge pages took 110 to 280 ms from one build to the next,
// the slow ones at one thread's pace, and 106 to 117 ms on small pages.
constexpr std::size_t AdvisedBlock = 2 * HugePage;

std::size_t MappedBytes(std::size_t bytes) {
    return (bytes + HugePage - 1) / HugePage * HugePage;
}

}  // namespace

void* AllocateStorage(std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (bytes >= MappedBlock) {
        // Over-allocate by one huge page and trim both ends, so that the
        // block starts on a huge-page boundary.
        const std::size_t size = MappedBytes(bytes);
        void* mapped = mmap(nullptr, size + HugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED)
            throw std::bad_alloc();
        const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(mapped);
        const std::uintptr_t aligned = (start + HugePage - 1) / HugePage * HugePage;
        const std::size_t head = aligned - start, tail = HugePage - head;
        if (head > 0)
            munmap(mapped, head);
        // Pointer arithmetic on the mapping, not a cast back from the
        // integer, keeps the block's provenance visible to the compiler.
        char* block = static_cast<char*>(mapped) + head;
        if (tail > 0)
            munmap(block + size, tail);
        // Advice only: where huge pages are off or none is free, small ones
        // serve as before.
        if (size <= AdvisedBlock)
            madvise(block, size, MADV_HUGEPAGE);
        return block;
    }
#endif
    return ::operator new(bytes, std::align_val_t(64));
}

void FreeStorage(void* block, std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (bytes >= MappedBlock) {
        munmap(block, MappedBytes(bytes));
        return;
    }
#endif
    ::operator delete(block, std::align_val_t(64));
}

}  // namespace detail

void CBoxHierarchy::Clear() {
    m_Nodes.clear();
    m_Nodes.shrink_to_fit();
    m_Order.clear();
    m_Order.shrink_to_fit();
}

std::size_t CBoxHierarchy::GetMemoryUsage() const {
    return m_Nodes.capacity() * sizeof(CNode) + m_Order.capacity() * sizeof(std::uint32_t);
}

namespace {

// Splits the tasks' ranges and their descendants until every range is a
// leaf, or until maxSplits ranges have been split (the tasks left are
// returned in `tasks`). Nodes are appended to `nodes`, children in pairs.
void Grow(CReference* references, std::vector<CTask>& tasks, CBoxHierarchy::CNodes& nodes, std::uint32_t leafSize,
          std::size_t maxSplits) {
    typedef CBoxHierarchy::CNode CNode;
    constexpr unsigned int MaxDepth = CBoxHierarchy::MaxDepth;
    std::size_t splits = 0;
    while (!tasks.empty() && splits < maxSplits) {
        const CTask task = tasks.back();
        tasks.pop_back();
        CFloatBounds bounds = task.m_Bounds, centreBounds = task.m_CentreBounds;
        if (!task.m_Known)
            for (std::uint32_t i = task.m_Begin; i < task.m_End; ++i) {
                const CReference& r = references[i];
                bounds.Extend(r.m_Min, r.m_Max);
                centreBounds.Extend(r.m_Centre, r.m_Centre);
            }
        CNode& node = nodes[task.m_Node];
        for (int k = 0; k < 3; ++k) {
            node.m_Min[k] = bounds.m_Min[k];
            node.m_Max[k] = bounds.m_Max[k];
        }
        const std::uint32_t n = task.m_End - task.m_Begin;
        auto makeLeaf = [&]() {
            nodes[task.m_Node].m_First = task.m_Begin;
            nodes[task.m_Node].m_Count = n;
        };
        if (n <= 1) {
            makeLeaf();
            continue;
        }
        int axis = 0;
        for (int k = 1; k < 3; ++k)
            if (double(centreBounds.m_Max[k]) - centreBounds.m_Min[k] >
                double(centreBounds.m_Max[axis]) - centreBounds.m_Min[axis])
                axis = k;
        const double low = centreBounds.m_Min[axis];
        const double extent = double(centreBounds.m_Max[axis]) - low;
        std::uint32_t middle = task.m_Begin;
        const bool coincident = !(extent > 0);
        CFloatBounds childBounds[2], childCentres[2];
        bool known = false;
        if (!coincident && task.m_Depth < MaxDepth - 40 && n <= SweepSize) {
            // A handful of primitives, as most ranges near the leaves are:
            // sorted by centre, every split between two of them is weighed,
            // for less work than filling the bins and a split at least as
            // good.
            CReference* const first = references + task.m_Begin;
            auto before = [axis](const CReference& a, const CReference& b) {
                return a.m_Centre[axis] < b.m_Centre[axis] ||
                       (a.m_Centre[axis] == b.m_Centre[axis] && a.m_Index < b.m_Index);
            };
            for (std::uint32_t i = 1; i < n; ++i)
                for (std::uint32_t j = i; j > 0 && before(first[j], first[j - 1]); --j)
                    std::swap(first[j], first[j - 1]);
            CFloatBounds suffix[SweepSize];
            double rightArea[SweepSize];
            CFloatBounds sweep;
            for (std::uint32_t i = n - 1; i > 0; --i) {
                sweep.Extend(first[i].m_Min, first[i].m_Max);
                suffix[i] = sweep;
                rightArea[i] = sweep.GetHalfArea();
            }
            CFloatBounds left, bestLeft;
            double bestCost = HUGE_VAL;
            std::uint32_t best = 0;
            for (std::uint32_t i = 1; i < n; ++i) {
                left.Extend(first[i - 1].m_Min, first[i - 1].m_Max);
                const double cost = left.GetHalfArea() * i + rightArea[i] * (n - i);
                if (cost < bestCost) {
                    bestCost = cost;
                    best = i;
                    bestLeft = left;
                }
            }
            if (n <= leafSize && (best == 0 || !(bestCost < (double(n) - 1) * bounds.GetHalfArea()))) {
                makeLeaf();
                continue;
            }
            if (best > 0) {
                middle = task.m_Begin + best;
                childBounds[0] = bestLeft;
                childBounds[1] = suffix[best];
                for (std::uint32_t i = 0; i < n; ++i)
                    childCentres[i < best ? 0 : 1].Extend(first[i].m_Centre, first[i].m_Centre);
                known = true;
            }
        } else if (!coincident && task.m_Depth < MaxDepth - 40) {
            CFloatBounds binBounds[BinCount], binCentres[BinCount];
            std::uint32_t binCounts[BinCount] = {};
            const double scale = BinCount / extent;
            auto binOf = [&](const CReference& r) {
                const int b = static_cast<int>((double(r.m_Centre[axis]) - low) * scale);
                return std::min(std::max(b, 0), BinCount - 1);
            };
#if defined(__SSE2__)
            // Four lanes at once: each load takes a fourth value that is
            // never read back (the next field), and minps/maxps keep the
            // bound where a value is NaN, as std::min and std::max do.
            // References in tree order mostly fall in the same bin as the
            // one before, so one set of bins makes every update wait for
            // the last one's store; even and odd references fill a set each,
            // joined afterwards: minima and maxima do not depend on the
            // order they are taken in, but for the sign of a zero bound,
            // which compares equal either way.
            __m128 lows[2][BinCount], highs[2][BinCount], centreLows[2][BinCount], centreHighs[2][BinCount];
            std::uint32_t setCounts[2][BinCount] = {};
            for (int s = 0; s < 2; ++s)
                for (int b = 0; b < BinCount; ++b) {
                    lows[s][b] = centreLows[s][b] = _mm_set1_ps(HUGE_VALF);
                    highs[s][b] = centreHighs[s][b] = _mm_set1_ps(-HUGE_VALF);
                }
            auto add = [&](int s, const CReference& r) {
                const int b = binOf(r);
                const __m128 centre = _mm_loadu_ps(r.m_Centre);
                lows[s][b] = _mm_min_ps(_mm_loadu_ps(r.m_Min), lows[s][b]);
                highs[s][b] = _mm_max_ps(_mm_loadu_ps(r.m_Max), highs[s][b]);
                centreLows[s][b] = _mm_min_ps(centre, centreLows[s][b]);
                centreHighs[s][b] = _mm_max_ps(centre, centreHighs[s][b]);
                ++setCounts[s][b];
            };
            std::uint32_t i = task.m_Begin;
            for (; i + 1 < task.m_End; i += 2) {
                add(0, references[i]);
                add(1, references[i + 1]);
            }
            if (i < task.m_End)
                add(0, references[i]);
            for (int b = 0; b < BinCount; ++b) {
                binCounts[b] = setCounts[0][b] + setCounts[1][b];
                if (binCounts[b] == 0)
                    continue;
                float lane[4][4];
                _mm_storeu_ps(lane[0], _mm_min_ps(lows[0][b], lows[1][b]));
                _mm_storeu_ps(lane[1], _mm_max_ps(highs[0][b], highs[1][b]));
                _mm_storeu_ps(lane[2], _mm_min_ps(centreLows[0][b], centreLows[1][b]));
                _mm_storeu_ps(lane[3], _mm_max_ps(centreHighs[0][b], centreHighs[1][b]));
                binBounds[b].Extend(lane[0], lane[1]);
                binCentres[b].Extend(lane[2], lane[3]);
            }
#else
            for (std::uint32_t i = task.m_Begin; i < task.m_End; ++i) {
                const CReference& r = references[i];
                const int b = binOf(r);
                binBounds[b].Extend(r.m_Min, r.m_Max);
                binCentres[b].Extend(r.m_Centre, r.m_Centre);
                ++binCounts[b];
            }
#endif
            // Sweep from the right for the suffix areas, then from the left.
            double rightArea[BinCount];
            std::uint32_t rightCount[BinCount];
            CFloatBounds sweep;
            std::uint32_t sum = 0;
            for (int b = BinCount - 1; b > 0; --b) {
                sweep.Extend(binBounds[b]);
                sum += binCounts[b];
                rightArea[b] = sweep.GetHalfArea();
                rightCount[b] = sum;
            }
            CFloatBounds left;
            std::uint32_t leftCount = 0;
            double bestCost = HUGE_VAL;
            int bestSplit = -1;
            for (int b = 1; b < BinCount; ++b) {
                left.Extend(binBounds[b - 1]);
                leftCount += binCounts[b - 1];
                if (leftCount == 0 || rightCount[b] == 0)
                    continue;
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
                // The children's bounds are the unions of their bins.
                for (int b = 0; b < BinCount; ++b) {
                    childBounds[b < bestSplit ? 0 : 1].Extend(binBounds[b]);
                    childCentres[b < bestSplit ? 0 : 1].Extend(binCentres[b]);
                }
                known = true;
                // Which side a reference falls on is a coin toss, so every
                // reference is swapped with the first of the right side,
                // whichever side it is on, and only the count of the left
                // side depends on it: a reference of the right side then
                // trades places with another (or itself), which keeps the
                // sides apart without a branch to mispredict.
                middle = task.m_Begin;
                for (std::uint32_t i = task.m_Begin; i < task.m_End; ++i) {
                    const CReference r = references[i];
                    references[i] = references[middle];
                    references[middle] = r;
                    middle += static_cast<std::uint32_t>(binOf(r) < bestSplit);
                }
            }
        } else if (n <= leafSize) {
            makeLeaf();
            continue;
        }
        if (middle == task.m_Begin || middle == task.m_End) {
            // No useful bin split (all centres in one bin, or a tree grown
            // too deep): halve at the median centre, or by position when the
            // centres coincide.
            middle = task.m_Begin + n / 2;
            known = false;
            if (!coincident)
                std::nth_element(
                    references + task.m_Begin, references + middle, references + task.m_End,
                    [&](const CReference& a, const CReference& b) { return a.m_Centre[axis] < b.m_Centre[axis]; });
        }
        ++splits;
        const std::uint32_t children = static_cast<std::uint32_t>(nodes.size());
        nodes[task.m_Node].m_First = children;
        nodes[task.m_Node].m_Count = 0;
        nodes.push_back(CNode());
        nodes.push_back(CNode());
        tasks.push_back(
            CTask{children + 1, middle, task.m_End, task.m_Depth + 1, known, childBounds[1], childCentres[1]});
        tasks.push_back(
            CTask{children, task.m_Begin, middle, task.m_Depth + 1, known, childBounds[0], childCentres[0]});
    }
}

}  // namespace

void CBoxHierarchy::Build(const double* boxes, std::uint32_t count, std::uint32_t leafSize) {
    BuildFrom(count, leafSize, [boxes](std::int64_t i, double low[3], double high[3]) {
        for (int k = 0; k < 3; ++k) {
            low[k] = boxes[6 * i + k];
            high[k] = boxes[6 * i + 3 + k];
        }
    });
}

void CBoxHierarchy::BuildOverPoints(const double* positions, const std::uint32_t* indices, std::uint32_t pointsPer,
                                    std::uint32_t count, std::uint32_t leafSize) {
    BuildFrom(count, leafSize, [=](std::int64_t i, double low[3], double high[3]) {
        bool nan[3] = {false, false, false};
        for (int k = 0; k < 3; ++k) {
            low[k] = HUGE_VAL;
            high[k] = -HUGE_VAL;
        }
        // Which corner is lowest is a coin toss per axis: plain minima and
        // maxima (no branch to mispredict), and NaN noted on the side.
        for (std::uint32_t j = 0; j < pointsPer; ++j) {
            const std::size_t point = std::size_t(pointsPer) * std::size_t(i) + j;
            const double* p = positions + 3 * (indices ? std::size_t(indices[point]) : point);
            for (int k = 0; k < 3; ++k) {
                low[k] = p[k] < low[k] ? p[k] : low[k];
                high[k] = p[k] > high[k] ? p[k] : high[k];
                nan[k] |= p[k] != p[k];
            }
        }
        // A NaN coordinate makes the bound NaN, as a NaN box would.
        for (int k = 0; k < 3; ++k)
            if (nan[k])
                low[k] = high[k] = std::numeric_limits<double>::quiet_NaN();
    });
}

namespace {

class CReferenceStorage {
public:
    explicit CReferenceStorage(std::size_t count)
        : m_Bytes(count * sizeof(CReference)),
          m_References(static_cast<CReference*>(detail::AllocateStorage(m_Bytes))) { }
    ~CReferenceStorage() { detail::FreeStorage(m_References, m_Bytes); }
    CReferenceStorage(const CReferenceStorage&) = delete;
    CReferenceStorage& operator=(const CReferenceStorage&) = delete;
    CReference* Get() const { return m_References; }

private:
    std::size_t m_Bytes;
    CReference* m_References;
};

}  // namespace

template <class Boxes>
void CBoxHierarchy::BuildFrom(std::uint32_t count, std::uint32_t leafSize, const Boxes& boxOf) {
    m_Nodes.clear();
    m_Order.resize(count);
    if (count == 0)
        return;
    leafSize = std::max<std::uint32_t>(leafSize, 1);
    // Uninitialised: every field is written below.
    const CReferenceStorage storage(count);
    CReference* const references = storage.Get();
    const std::int64_t n = count;
#pragma omp parallel for schedule(static) if (n >= ParallelCopySize)
    for (std::int64_t i = 0; i < n; ++i) {
        CReference& r = references[i];
        r.m_Index = static_cast<std::uint32_t>(i);
        double low[3], high[3];
        boxOf(i, low, high);
        for (int k = 0; k < 3; ++k) {
            r.m_Min[k] = detail::RoundDown(low[k]);
            r.m_Max[k] = detail::RoundUp(high[k]);
            // A non-finite centre would poison the bins; such a primitive
            // goes to bin 0.
            const double c = 0.5 * (low[k] + high[k]);
            r.m_Centre[k] = std::isfinite(c) ? static_cast<float>(std::max(-FloatMax, std::min(FloatMax, c))) : 0.0f;
        }
    }
    m_Nodes.reserve(2 * std::size_t(count / std::max<std::uint32_t>(leafSize / 2, 1)) + 2);
    m_Nodes.push_back(CNode());
    // The padding that puts every pair of children on one cache line.
    CNode padding = CNode();
    m_Nodes.push_back(padding);
    std::vector<CTask> tasks;
    tasks.push_back(CTask{0, 0, count, 0, false, CFloatBounds(), CFloatBounds()});
    // Subtrees cover disjoint ranges of the references: on large trees each
    // grows into an array of its own on some thread, and the arrays are
    // joined behind the top levels.
    if (n < ParallelBuildSize) {
        Grow(references, tasks, m_Nodes, leafSize, NoLimit);
    } else {
        // The top levels are split here, the largest range first, until
        // there are a few ranges per core: the ranges left grow on whichever
        // thread is free, the largest first, so that uneven splits still
        // keep both cores busy.
        while (!tasks.empty() && tasks.size() < SubtreeCount) {
            const auto largest = std::max_element(tasks.begin(), tasks.end(), [](const CTask& a, const CTask& b) {
                return a.m_End - a.m_Begin < b.m_End - b.m_Begin;
            });
            if (largest->m_End - largest->m_Begin < std::uint32_t(ParallelBuildSize / 4))
                break;
            std::iter_swap(largest, tasks.end() - 1);
            Grow(references, tasks, m_Nodes, leafSize, 1);
        }
        const std::size_t count = tasks.size();
        std::vector<std::size_t> bySize(count);
        std::iota(bySize.begin(), bySize.end(), std::size_t(0));
        std::stable_sort(bySize.begin(), bySize.end(), [&](std::size_t a, std::size_t b) {
            return tasks[a].m_End - tasks[a].m_Begin > tasks[b].m_End - tasks[b].m_Begin;
        });
        std::vector<CNodes> subtrees(count);
        // An exception must not leave a parallel region: it is carried out.
        std::vector<std::exception_ptr> failures(count);
        const std::int64_t jobs = static_cast<std::int64_t>(count);
#pragma omp parallel for schedule(dynamic, 1)
        for (std::int64_t job = 0; job < jobs; ++job)
            try {
                const std::size_t t = bySize[job];
                CNodes& nodes = subtrees[t];
                nodes.reserve(
                    2 * std::size_t((tasks[t].m_End - tasks[t].m_Begin) / std::max<std::uint32_t>(leafSize / 2, 1)) +
                    2);
                nodes.resize(2, CNode());
                std::vector<CTask> own(1, tasks[t]);
                own[0].m_Node = 0;
                Grow(references, own, nodes, leafSize, NoLimit);
            } catch (...) {
                failures[bySize[job]] = std::current_exception();
            }
        for (const std::exception_ptr& failure : failures)
            if (failure)
                std::rethrow_exception(failure);
        // Each subtree's array starts with its root and a padding node, so
        // its pairs of children stay on even indices when it moves by an
        // even offset; its root takes the place of the range's node.
        std::size_t total = m_Nodes.size();
        std::vector<std::size_t> offsets(count);
        for (std::size_t t = 0; t < count; ++t) {
            offsets[t] = total - 2;
            total += subtrees[t].size() - 2;
        }
        m_Nodes.resize(total);
        CNode* const joined = m_Nodes.data();
#pragma omp parallel for schedule(dynamic, 1) if (n >= ParallelCopySize)
        for (std::int64_t job = 0; job < jobs; ++job) {
            const CNodes& nodes = subtrees[job];
            const std::uint32_t offset = static_cast<std::uint32_t>(offsets[job]);
            auto moved = [offset](CNode node) {
                if (!node.IsLeaf())
                    node.m_First += offset;
                return node;
            };
            joined[tasks[job].m_Node] = moved(nodes[0]);
            for (std::size_t i = 2; i < nodes.size(); ++i)
                joined[offset + i] = moved(nodes[i]);
        }
    }
#pragma omp parallel for schedule(static) if (n >= ParallelCopySize)
    for (std::int64_t i = 0; i < n; ++i)
        m_Order[i] = references[i].m_Index;
}

namespace {

// Shapes a tree top-down over the primitives' order: a range of more than
// `leafSize` is cut at split(begin, end, left, right), which may reorder the
// range and returns where its second part starts (strictly inside it); each
// range carries a State that split hands on to the two parts.
template <class State, class Split>
void ShapeTopDown(CBoxHierarchy::CNodes& nodes, std::uint32_t count, std::uint32_t leafSize, const State& whole,
                  Split&& split) {
    typedef CBoxHierarchy::CNode CNode;
    class CRange {
    public:
        std::uint32_t m_Node, m_Begin, m_End;
        State m_State;
    };
    std::vector<CRange> ranges;
    nodes.reserve(2 * std::size_t(count / std::max<std::uint32_t>(leafSize / 2, 1)) + 2);
    nodes.push_back(CNode());
    // The padding that puts every pair of children on one cache line.
    nodes.push_back(CNode());
    ranges.push_back(CRange{0, 0, count, whole});
    while (!ranges.empty()) {
        const CRange range = ranges.back();
        ranges.pop_back();
        const std::uint32_t n = range.m_End - range.m_Begin;
        if (n <= leafSize) {
            nodes[range.m_Node].m_First = range.m_Begin;
            nodes[range.m_Node].m_Count = n;
            continue;
        }
        State left = range.m_State, right = range.m_State;
        const std::uint32_t middle = split(range.m_Begin, range.m_End, left, right);
        const std::uint32_t children = static_cast<std::uint32_t>(nodes.size());
        nodes[range.m_Node].m_First = children;
        nodes[range.m_Node].m_Count = 0;
        nodes.push_back(CNode());
        nodes.push_back(CNode());
        ranges.push_back(CRange{children + 1, middle, range.m_End, right});
        ranges.push_back(CRange{children, range.m_Begin, middle, left});
    }
}

}  // namespace

namespace {

// From this many primitives on, the two halves of a median range grow as
// separate tasks, and a tree of at least twice that many wakes the team.
constexpr std::uint32_t ParallelMedianSize = 1 << 12;

// The inner nodes of a median tree over n primitives: a range of more than
// leafSize splits into halves of k / 2 and k - k / 2, so the count, and with
// it where each subtree's nodes go, depends on n alone. The ranges of one
// level all hold m or m + 1 primitives, so a level is two counts.
std::uint32_t MedianInnerNodes(std::uint32_t n, std::uint32_t leafSize) {
    std::uint32_t inner = 0, m = n, low = 1, high = 0;
    while (low + high > 0) {
        const std::uint32_t half = m / 2;
        std::uint32_t nextLow = 0, nextHigh = 0;
        const auto split = [&](std::uint32_t size, std::uint32_t ranges) {
            if (ranges == 0 || size <= leafSize)
                return;
            inner += ranges;
            for (const std::uint32_t part : {size / 2, size - size / 2})
                (part == half ? nextLow : nextHigh) += ranges;
        };
        split(m, low);
        split(m + 1, high);
        m = half;
        low = nextLow;
        high = nextHigh;
    }
    return inner;
}

// Shapes the median tree as ShapeTopDown does, node for node: a range's
// children take the next pair of slots, its left subtree's pairs follow
// them and its right subtree's come after those, so every subtree knows
// where its nodes go before its sibling is shaped, and the two grow as
// tasks of their own. Each task reorders only its own range of the order.
class CMedianShaper {
public:
    CBoxHierarchy::CNode* m_Nodes;
    std::uint32_t* m_Order;
    const std::vector<double>* m_Centres;
    std::uint32_t m_LeafSize;

    void Shape(std::uint32_t node, std::uint32_t begin, std::uint32_t end, std::uint32_t children,
               CBounds centreBounds) const {
        const std::uint32_t n = end - begin;
        if (n <= m_LeafSize) {
            m_Nodes[node].m_First = begin;
            m_Nodes[node].m_Count = n;
            return;
        }
        // A node's centre box is not measured again: a child takes its
        // parent's, cut at the median, which is all the choice of axis needs.
        int axis = 0;
        for (int k = 1; k < 3; ++k)
            if (centreBounds.m_Max[k] - centreBounds.m_Min[k] > centreBounds.m_Max[axis] - centreBounds.m_Min[axis])
                axis = k;
        const std::vector<double>& along = m_Centres[axis];
        const std::uint32_t middle = begin + n / 2;
        std::nth_element(m_Order + begin, m_Order + middle, m_Order + end, [&](std::uint32_t a, std::uint32_t b) {
            return along[a] < along[b] || (along[a] == along[b] && a < b);
        });
        CBounds left = centreBounds, right = centreBounds;
        left.m_Max[axis] = right.m_Min[axis] = along[m_Order[middle]];
        m_Nodes[node].m_First = children;
        m_Nodes[node].m_Count = 0;
        const std::uint32_t rightChildren = children + 2 + 2 * MedianInnerNodes(middle - begin, m_LeafSize);
        if (n >= ParallelMedianSize) {
#pragma omp task firstprivate(children, begin, middle, left)
            Shape(children, begin, middle, children + 2, left);
            Shape(children + 1, middle, end, rightChildren, right);
#pragma omp taskwait
        } else {
            Shape(children, begin, middle, children + 2, left);
            Shape(children + 1, middle, end, rightChildren, right);
        }
    }
};

}  // namespace

void CBoxHierarchy::BuildByMedian(const double* boxes, std::uint32_t count, std::uint32_t leafSize) {
    m_Nodes.clear();
    m_Order.resize(count);
    if (count == 0)
        return;
    leafSize = std::min<std::uint32_t>(std::max<std::uint32_t>(leafSize, 1), 255);
    // A non-finite centre would break the ordering; such a primitive sorts
    // as if at the origin.
    std::vector<double> centres[3];
    CBounds centreBounds;
    for (int k = 0; k < 3; ++k)
        centres[k].resize(count);
    const bool parallel = count >= 2 * ParallelMedianSize;
    const std::int64_t primitives = count;
#pragma omp parallel for schedule(static) if (parallel)
    for (std::int64_t i = 0; i < primitives; ++i) {
        for (int k = 0; k < 3; ++k) {
            const double c = 0.5 * (boxes[6 * i + k] + boxes[6 * i + 3 + k]);
            centres[k][i] = std::isfinite(c) ? c : 0.0;
        }
        m_Order[i] = static_cast<std::uint32_t>(i);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const double c[3] = {centres[0][i], centres[1][i], centres[2][i]};
        centreBounds.Extend(c, c);
    }

    // The root, the padding that puts every pair of children on one cache
    // line, and two nodes for each inner node.
    m_Nodes.assign(2 + 2 * std::size_t(MedianInnerNodes(count, leafSize)), CNode());
    const CMedianShaper shaper{m_Nodes.data(), m_Order.data(), centres, leafSize};
#pragma omp parallel if (parallel)
#pragma omp single
    shaper.Shape(0, 0, count, 2, centreBounds);
    FitBoxes(boxes, parallel);
}

void CBoxHierarchy::BuildInMortonOrder(const double* boxes, std::uint32_t count, std::uint32_t leafSize) {
    m_Nodes.clear();
    m_Order.resize(count);
    if (count == 0)
        return;
    leafSize = std::min<std::uint32_t>(std::max<std::uint32_t>(leafSize, 1), 255);
    std::vector<double> centres(3 * std::size_t(count));
    CBounds centreBounds;
    for (std::size_t i = 0; i < count; ++i) {
        double* c = &centres[3 * i];
        for (int k = 0; k < 3; ++k) {
            const double centre = 0.5 * (boxes[6 * i + k] + boxes[6 * i + 3 + k]);
            c[k] = std::isfinite(centre) ? centre : 0.0;
        }
        centreBounds.Extend(c, c);
    }
    double scale[3];
    for (int k = 0; k < 3; ++k) {
        const double extent = centreBounds.m_Max[k] - centreBounds.m_Min[k];
        scale[k] = extent > 0 && std::isfinite(extent) ? 1023.0 / extent : 0.0;
    }
    std::vector<std::uint32_t> keys(count);
    for (std::size_t i = 0; i < count; ++i)
        keys[i] = detail::MortonKey(&centres[3 * i], centreBounds.m_Min, scale);
    if (count < SmallSortSize) {
        // The radix sort clears and sums 1,024 counts a pass, more work than
        // the rest of a small tree's build; keys packed above their index
        // sort into the same order.
        std::vector<std::uint64_t> packed(count);
        for (std::uint32_t i = 0; i < count; ++i)
            packed[i] = std::uint64_t(keys[i]) << 32 | i;
        std::sort(packed.begin(), packed.end());
        for (std::uint32_t i = 0; i < count; ++i)
            m_Order[i] = static_cast<std::uint32_t>(packed[i]);
    } else {
        detail::SortByKey(keys.data(), count, m_Order.data());
    }
    // The keys in tree order, where each split looks for its bit.
    std::vector<std::uint32_t> sorted(count);
    for (std::size_t i = 0; i < count; ++i)
        sorted[i] = keys[m_Order[i]];

    // A range's keys share every bit above the highest one that differs
    // between its first and last key; those without that bit come first, so
    // a split there is a cut of the Morton cell in two halves. Each split
    // drops at least one bit of the 30, and a run of equal keys is halved,
    // so the tree is at most 30 + 32 levels deep.
    class CNoState { };
    ShapeTopDown(
        m_Nodes, count, leafSize, CNoState(), [&](std::uint32_t begin, std::uint32_t end, CNoState&, CNoState&) {
            const std::uint32_t differ = sorted[begin] ^ sorted[end - 1];
            if (differ == 0)
                return begin + (end - begin) / 2;
            std::uint32_t bit = 1u << 29;
            while (!(differ & bit))
                bit >>= 1;
            return static_cast<std::uint32_t>(std::partition_point(sorted.begin() + begin, sorted.begin() + end,
                                                                   [bit](std::uint32_t key) { return !(key & bit); }) -
                                              sorted.begin());
        });
    FitBoxes(boxes, false);
}

void CBoxHierarchy::FitBoxes(const double* boxes, bool parallel) {
    // The leaves first, each from its own primitives (most of the work, and
    // each node written by one thread); then the inner nodes: children come
    // after their parents, so one backward pass sees every child before its
    // parent.
    const std::int64_t nodeCount = static_cast<std::int64_t>(m_Nodes.size());
#pragma omp parallel for schedule(static) if (parallel)
    for (std::int64_t i = 0; i < nodeCount; ++i) {
        CNode& node = m_Nodes[i];
        if (i == 1 || !node.IsLeaf())
            continue;
        CBounds bounds;
        for (std::uint32_t j = node.m_First; j < node.m_First + node.m_Count; ++j) {
            const double* box = boxes + 6 * std::size_t(m_Order[j]);
            bounds.Extend(box, box + 3);
        }
        for (int k = 0; k < 3; ++k) {
            node.m_Min[k] = detail::RoundDown(bounds.m_Min[k]);
            node.m_Max[k] = detail::RoundUp(bounds.m_Max[k]);
        }
    }
    for (std::size_t i = m_Nodes.size(); i-- > 0;) {
        CNode& node = m_Nodes[i];
        if (i == 1 || node.IsLeaf())
            continue;
        const CNode &a = m_Nodes[node.m_First], &b = m_Nodes[node.m_First + 1];
        for (int k = 0; k < 3; ++k) {
            node.m_Min[k] = std::min(a.m_Min[k], b.m_Min[k]);
            node.m_Max[k] = std::max(a.m_Max[k], b.m_Max[k]);
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel
