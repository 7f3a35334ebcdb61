#pragma once

#include "quorvel/meshes/TVertexPN.h"

namespace Corvane::Pellix::Quorvel {

// A vertex with position, normal and a packed 32-bit colour that no mesh
// operation interprets.
template <typename Real>
class TVertexPNC : public TVertexOperators<TVertexPNC<Real>, Real> {
public:
    using TVertexOperators<TVertexPNC<Real>, Real>::operator*;
    using TVertexOperators<TVertexPNC<Real>, Real>::operator*=;
    TVector3<Real> m_Position;
    TVector3<Real> m_Normal;
    unsigned int m_Colour = 0;

    TVertexPNC() = default;
    // The colour may be left out, so code written for TVertexPN builds these
    // vertices too; such a vertex is black, as a default-constructed one is.
    TVertexPNC(const TVector3<Real>& position, const TVector3<Real>& normal, unsigned int colour = 0)
        : m_Position(position), m_Normal(normal), m_Colour(colour) { }
    TVertexPNC(Real x, Real y, Real z, Real nx, Real ny, Real nz, unsigned int colour = 0)
        : m_Position(x, y, z), m_Normal(nx, ny, nz), m_Colour(colour) { }

    bool operator==(const TVertexPNC& other) const {
        return m_Position == other.m_Position && m_Normal == other.m_Normal && m_Colour == other.m_Colour;
    }
    bool operator<(const TVertexPNC& other) const { return m_Position < other.m_Position; }
    bool operator>(const TVertexPNC& other) const { return m_Position > other.m_Position; }

    TVertexPNC operator*(const TMatrix4x4<Real>& m) const {
        TVertexPNC r(*this);
        r *= m;
        return r;
    }
    // Unlike TVertexPN the normal is not re-normalised: callers that transform
    // coloured meshes re-derive their normals where they need unit length.
    TVertexPNC& operator*=(const TMatrix4x4<Real>& m) {
        TVector4<Real> p(m_Position.x, m_Position.y, m_Position.z, Real(1));
        TVector4<Real> n(m_Normal.x, m_Normal.y, m_Normal.z, Real(0));
        p *= m;
        n *= m;
        m_Position = static_cast<TVector3<Real>>(p);
        m_Normal = static_cast<TVector3<Real>>(n);
        return *this;
    }

    operator Real*() { return &m_Position.x; }
    operator const Real*() const { return &m_Position.x; }

    void GetData(float& x, float& y, float& z, float& nx, float& ny, float& nz, unsigned int& colour) const {
        x = float(m_Position.x);
        y = float(m_Position.y);
        z = float(m_Position.z);
        nx = float(m_Normal.x);
        ny = float(m_Normal.y);
        nz = float(m_Normal.z);
        colour = m_Colour;
    }
    void SetColour(unsigned int colour) { m_Colour = colour; }
};

extern template class TVertexPNC<float>;
extern template class TVertexPNC<double>;

// The shared operators add no storage: the record is its components alone.
static_assert(sizeof(TVertexPNC<float>) == 6 * sizeof(float) + sizeof(unsigned int));

}  // namespace Corvane::Pellix::Quorvel
