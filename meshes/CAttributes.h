#pragma once

#include <cstdint>

namespace Corvane::Pellix::Quorvel {

// Flag words kept one per vertex and one per face. Bit 0 of a vertex marks it
// open; the whole value 255 marks a vertex removed by edge collapse. The
// macro's arguments are a name and a type, which cannot be parenthesised.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define QUORVEL_ATTRIBUTE_RECORD(Name, Type)                                                                           \
    class Name {                                                                                                       \
    public:                                                                                                            \
        typedef Type ValueType;                                                                                        \
        Type m_Value;                                                                                                  \
        Name() : m_Value(0) { }                                                                                        \
        Name(Type value) : m_Value(value) { }                                                                          \
        bool operator==(const Name& o) const { return m_Value == o.m_Value; }                                          \
        bool operator!=(const Name& o) const { return m_Value != o.m_Value; }                                          \
        bool operator<(const Name& o) const { return m_Value < o.m_Value; }                                            \
        bool operator>(const Name& o) const { return m_Value > o.m_Value; }                                            \
    };

QUORVEL_ATTRIBUTE_RECORD(CA8, std::uint8_t)
QUORVEL_ATTRIBUTE_RECORD(CA16, std::uint16_t)
QUORVEL_ATTRIBUTE_RECORD(CA32, std::uint32_t)
// NOLINTEND(bugprone-macro-parentheses)

#undef QUORVEL_ATTRIBUTE_RECORD

}  // namespace Corvane::Pellix::Quorvel
