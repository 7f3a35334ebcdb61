#ifndef CORVANE_PELLIX_SARVETTA_TMATRIX3X3_H
#define CORVANE_PELLIX_SARVETTA_TMATRIX3X3_H

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Sarvetta {

/// Row-major 3x3 matrix acting on row vectors (v *= M gives v * M).
template <class Real>
class TMatrix3x3 {
public:
    Real m_Data[3][3];

    /// The identity.
    TMatrix3x3() : m_Data{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}} { }
    /// Nine entries, row by row.
    TMatrix3x3(Real m00, Real m01, Real m02, Real m10, Real m11, Real m12, Real m20, Real m21, Real m22)
        : m_Data{{m00, m01, m02}, {m10, m11, m12}, {m20, m21, m22}} { }

    /// Entry at (row, column), unchecked.
    ///@{
    Real& operator()(int row, int column) { return m_Data[row][column]; }
    const Real& operator()(int row, int column) const { return m_Data[row][column]; }
    ///@}

    /// Sets every entry to zero.
    void ToNull() {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                m_Data[i][j] = 0;
    }

    /// Entry-wise sum.
    TMatrix3x3& operator+=(const TMatrix3x3& other) {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                m_Data[i][j] += other.m_Data[i][j];
        return *this;
    }

    /// Matrix product; with row vectors, v * (A * B) applies A first.
    TMatrix3x3 operator*(const TMatrix3x3& other) const {
        TMatrix3x3 result;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                result.m_Data[i][j] = m_Data[i][0] * other.m_Data[0][j] + m_Data[i][1] * other.m_Data[1][j] +
                                      m_Data[i][2] * other.m_Data[2][j];
        return result;
    }

    /// Transposes in place.
    void Transpose() {
        for (int i = 0; i < 3; ++i)
            for (int j = i + 1; j < 3; ++j) {
                const Real swap = m_Data[i][j];
                m_Data[i][j] = m_Data[j][i];
                m_Data[j][i] = swap;
            }
    }

    /// Eigen-decomposition of a symmetric matrix by cyclic Jacobi rotations.
    /// vectors[i] is a unit eigenvector for values[i]; the order is whatever
    /// the rotations leave. False when an entry is not finite or the rotations
    /// do not converge; the outputs are then unspecified.
    /// \pre The matrix is symmetric (only that case is meaningful).
    bool Eigenspace(Real values[3], TVector3<Real> vectors[3]) const;
};

extern template class TMatrix3x3<float>;
extern template class TMatrix3x3<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
