#pragma once

#include <cstdint>

namespace Corvane::Pellix::Quorvel {

// The C runtime's rand() sequence (glibc's default additive feedback
// generator, r[i] = r[i-3] + r[i-31] on 32-bit words, each output the word
// shifted right by one), reproduced privately: the tree's inside test casts
// the same rays as TMesh::IsWithin without reading or disturbing the global
// generator, so it can run in many threads at once.
class CRuntimeRandom {
public:
    // As srand(seed); like the runtime, seed 0 stands for 1.
    explicit CRuntimeRandom(unsigned int seed) {
        std::int32_t word = seed == 0 ? 1 : static_cast<std::int32_t>(seed);
        m_State[0] = static_cast<std::uint32_t>(word);
        for (int i = 1; i < 31; ++i) {
            // 16807 * word mod (2^31 - 1) without overflow (Schrage).
            const std::int32_t high = word / 127773;
            const std::int32_t low = word % 127773;
            word = 16807 * low - 2836 * high;
            if (word < 0)
                word += 2147483647;
            m_State[i] = static_cast<std::uint32_t>(word);
        }
        m_Front = 3;
        m_Rear = 0;
        for (int i = 0; i < 310; ++i)
            Next();
    }

    // As rand(): 0 .. 2^31 - 1.
    int Next() {
        m_State[m_Front] += m_State[m_Rear];
        const int result = static_cast<int>(m_State[m_Front] >> 1);
        if (++m_Front == 31)
            m_Front = 0;
        if (++m_Rear == 31)
            m_Rear = 0;
        return result;
    }

private:
    std::uint32_t m_State[31];
    int m_Front;
    int m_Rear;
};

}  // namespace Corvane::Pellix::Quorvel
