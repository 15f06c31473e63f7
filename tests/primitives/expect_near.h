#pragma once
// Coordinate-wise closeness check for the primitives tests.
#include "Point3D.h"
#include "Vector3D.h"

#include <gtest/gtest.h>

inline ::testing::AssertionResult vectorNear(ORVANE_DATABASE::Vector3D const &got,
                                             ORVANE_DATABASE::Vector3D const &want,
                                             double eps = 1e-12) {
    for (int a = 0; a < 3; ++a)
        if (!(std::fabs(got[a] - want[a]) <= eps))
            return ::testing::AssertionFailure() << "(" << got.i() << ", " << got.j() << ", "
                                                 << got.k() << ") vs (" << want.i() << ", "
                                                 << want.j() << ", " << want.k() << ")";
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult pointNear(ORVANE_DATABASE::Point3D const &got,
                                            ORVANE_DATABASE::Point3D const &want,
                                            double eps = 1e-12) {
    return vectorNear(got.vector(), want.vector(), eps);
}
