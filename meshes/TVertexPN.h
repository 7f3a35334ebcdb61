#pragma once

#include "quorvel/maths/TMatrix3x3.h"
#include "quorvel/maths/TMatrix4x4.h"
#include "quorvel/maths/TVector3.h"
#include "quorvel/maths/TVector4.h"

namespace Corvane::Pellix::Quorvel {

using Sarvetta::TMatrix3x3;
using Sarvetta::TMatrix4x4;
using Sarvetta::TVector3;
using Sarvetta::TVector4;

// The arithmetic both vertex records share: offsets and scalings move the
// position only, a 3x3 matrix maps position and normal alike. Each operator
// returns the record type itself.
template <typename Vertex, typename Real>
class TVertexOperators {
public:
    Vertex operator+(const TVector3<Real>& v) const {
        Vertex r(Self());
        r.m_Position += v;
        return r;
    }
    Vertex operator-(const TVector3<Real>& v) const {
        Vertex r(Self());
        r.m_Position -= v;
        return r;
    }
    Vertex& operator+=(const TVector3<Real>& v) {
        Self().m_Position += v;
        return Self();
    }
    Vertex& operator-=(const TVector3<Real>& v) {
        Self().m_Position -= v;
        return Self();
    }
    Vertex operator*(const Real& s) const {
        Vertex r(Self());
        r.m_Position *= s;
        return r;
    }
    Vertex operator/(const Real& s) const {
        Vertex r(Self());
        r.m_Position /= s;
        return r;
    }
    Vertex& operator*=(const Real& s) {
        Self().m_Position *= s;
        return Self();
    }
    Vertex& operator/=(const Real& s) {
        Self().m_Position /= s;
        return Self();
    }

    Vertex operator*(const TMatrix3x3<Real>& m) const {
        Vertex r(Self());
        r *= m;
        return r;
    }
    Vertex& operator*=(const TMatrix3x3<Real>& m) {
        Self().m_Position *= m;
        Self().m_Normal *= m;
        return Self();
    }

private:
    Vertex& Self() { return static_cast<Vertex&>(*this); }
    const Vertex& Self() const { return static_cast<const Vertex&>(*this); }
};

// A vertex with position and normal. The six components are contiguous, so the
// record read through operator Real*() is an array of six values.
template <typename Real>
class TVertexPN : public TVertexOperators<TVertexPN<Real>, Real> {
public:
    using TVertexOperators<TVertexPN<Real>, Real>::operator*;
    using TVertexOperators<TVertexPN<Real>, Real>::operator*=;
    TVector3<Real> m_Position;
    TVector3<Real> m_Normal;

    TVertexPN() = default;
    TVertexPN(const TVector3<Real>& position, const TVector3<Real>& normal) : m_Position(position), m_Normal(normal) { }
    TVertexPN(Real x, Real y, Real z, Real nx, Real ny, Real nz) : m_Position(x, y, z), m_Normal(nx, ny, nz) { }

    bool operator==(const TVertexPN& other) const {
        return m_Position == other.m_Position && m_Normal == other.m_Normal;
    }
    // Ordering looks at positions only, so sorting and binary search of
    // vertices group them by place whatever their normals.
    bool operator<(const TVertexPN& other) const { return m_Position < other.m_Position; }
    bool operator>(const TVertexPN& other) const { return m_Position > other.m_Position; }

    TVertexPN operator*(const TMatrix4x4<Real>& m) const {
        TVertexPN r(*this);
        r *= m;
        return r;
    }
    TVertexPN& operator*=(const TMatrix4x4<Real>& m) {
        // The position is a point (w = 1), the normal a direction (w = 0).
        TVector4<Real> p(m_Position.x, m_Position.y, m_Position.z, Real(1));
        TVector4<Real> n(m_Normal.x, m_Normal.y, m_Normal.z, Real(0));
        p *= m;
        n *= m;
        m_Position = static_cast<TVector3<Real>>(p);
        m_Normal = static_cast<TVector3<Real>>(n);
        m_Normal.Normalise();
        return *this;
    }

    operator Real*() { return &m_Position.x; }
    operator const Real*() const { return &m_Position.x; }

    // The fixed export format is single precision whatever Real is, and a
    // vertex without colour reports colour 0.
    void GetData(float& x, float& y, float& z, float& nx, float& ny, float& nz, unsigned int& colour) const {
        x = float(m_Position.x);
        y = float(m_Position.y);
        z = float(m_Position.z);
        nx = float(m_Normal.x);
        ny = float(m_Normal.y);
        nz = float(m_Normal.z);
        colour = 0;
    }
    void SetColour(unsigned int) { }
};

extern template class TVertexPN<float>;
extern template class TVertexPN<double>;

// The shared operators add no storage: the record is its components alone.
static_assert(sizeof(TVertexPN<float>) == 6 * sizeof(float));

}  // namespace Corvane::Pellix::Quorvel
