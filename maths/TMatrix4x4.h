#ifndef CORVANE_PELLIX_SARVETTA_TMATRIX4X4_H
#define CORVANE_PELLIX_SARVETTA_TMATRIX4X4_H

namespace Corvane::Pellix::Sarvetta {

/// Row-major 4x4 matrix acting on homogeneous row vectors; the translation
/// of an affine transform sits in row 3.
template <class Real>
class TMatrix4x4 {
public:
    Real m_Data[4][4];

    /// The identity.
    TMatrix4x4() : m_Data{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}} { }
    /// Sixteen entries, row by row.
    TMatrix4x4(Real m00, Real m01, Real m02, Real m03, Real m10, Real m11, Real m12, Real m13, Real m20, Real m21,
               Real m22, Real m23, Real m30, Real m31, Real m32, Real m33)
        : m_Data{{m00, m01, m02, m03}, {m10, m11, m12, m13}, {m20, m21, m22, m23}, {m30, m31, m32, m33}} { }

    /// Entry at (row, column), unchecked.
    ///@{
    Real& operator()(int row, int column) { return m_Data[row][column]; }
    const Real& operator()(int row, int column) const { return m_Data[row][column]; }
    ///@}

    /// Matrix product; with row vectors, v * (A * B) applies A first.
    TMatrix4x4 operator*(const TMatrix4x4& other) const {
        TMatrix4x4 result;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                result.m_Data[i][j] = m_Data[i][0] * other.m_Data[0][j] + m_Data[i][1] * other.m_Data[1][j] +
                                      m_Data[i][2] * other.m_Data[2][j] + m_Data[i][3] * other.m_Data[3][j];
        return result;
    }

    /// The determinant, without pivoting or division: exact for matrices of
    /// small integers.
    Real Determinant() const;
};

extern template class TMatrix4x4<float>;
extern template class TMatrix4x4<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
