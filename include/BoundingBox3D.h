#pragma once
// BoundingBox3D: axis-aligned box with an explicit empty state, so that it can be grown point
// by point from nothing. A non-empty box keeps lower <= upper in every coordinate; the
// corners of an empty box carry no meaning (a default box has both at the origin).
#include "OrvaneExport.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <algorithm>
#include <cmath>

namespace ORVANE_DATABASE {

class ORVANE_API BoundingBox3D {
public:
    // Value = 4 (x from lower) + 2 (y from lower) + (z from lower).
    enum _CornerType : int {
        XMAX_YMAX_ZMAX = 0,
        XMAX_YMAX_ZMIN = 1,
        XMAX_YMIN_ZMAX = 2,
        XMAX_YMIN_ZMIN = 3,
        XMIN_YMAX_ZMAX = 4,
        XMIN_YMAX_ZMIN = 5,
        XMIN_YMIN_ZMAX = 6,
        XMIN_YMIN_ZMIN = 7
    };

    BoundingBox3D() : m_lower(), m_upper(), m_empty(true) {}
    BoundingBox3D(Point3D const &p) : m_lower(p), m_upper(p), m_empty(false) {}
    // The order of the two points does not matter.
    BoundingBox3D(Point3D const &a, Point3D const &b)
        : m_lower(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::min(a.z(), b.z())),
          m_upper(std::max(a.x(), b.x()), std::max(a.y(), b.y()), std::max(a.z(), b.z())),
          m_empty(false) {}
    // The same from an array of two points.
    BoundingBox3D(Point3D * const p) : BoundingBox3D(p[0], p[1]) {}
    BoundingBox3D(BoundingBox3D const &) = default;
    BoundingBox3D &operator=(BoundingBox3D const &) = default;
    ~BoundingBox3D() = default;

    bool isEmpty() const { return m_empty; }
    Point3D const &lower() const { return m_lower; }
    Point3D const &upper() const { return m_upper; }
    // On a non-const box the corners come back as copies.
    Point3D const lower() { return m_lower; }
    Point3D const upper() { return m_upper; }
    // 0 gives lower, 1 upper; no range check.
    Point3D const &operator[](int index) const { return index == 0 ? m_lower : m_upper; }

    // An empty box becomes the degenerate box at p; otherwise the box grows to include p.
    void add(Point3D const &p) {
        if (m_empty) {
            m_lower = p;
            m_upper = p;
            m_empty = false;
            return;
        }
        grow(p, p);
    }
    // An empty operand contributes nothing: empty + b is b, a + empty is a.
    BoundingBox3D operator+(BoundingBox3D const &b) const {
        BoundingBox3D sum(*this);
        sum.add(b);
        return sum;
    }
    BoundingBox3D &operator+=(BoundingBox3D const &b) {
        add(b);
        return *this;
    }
    void add(BoundingBox3D const &b) {
        if (m_empty) {
            *this = b;
            return;
        }
        if (b.m_empty) return;
        grow(b.m_lower, b.m_upper);
    }

    // False as soon as, on some axis, lower - t exceeds the other box's upper coordinate or
    // the other box's lower coordinate exceeds upper + t; so touching boxes, and boxes apart
    // by less than t, clash. Empty flags are not consulted.
    bool isInClash(BoundingBox3D const &b, Tolerance const &tol) const {
        return clash(b.m_lower, b.m_upper, tol.value());
    }
    // Against the box from lo to hi, taken in that order (not sorted).
    bool isInClash(Point3D const &lo, Point3D const &hi, Tolerance const &tol) const {
        return clash(lo, hi, tol.value());
    }
    // The same with lo and hi in an array (lower first).
    bool isInClash(Point3D const * const corners, Tolerance const &tol) const {
        return clash(corners[0], corners[1], tol.value());
    }
    // True for points inside, on the faces, or up to t outside them. Empty flag not consulted.
    bool contains(Point3D const &p, Tolerance const &tol) const {
        double const t = tol.value();
        for (int a = 0; a < 3; ++a) {
            double const c = p.vector()[a];
            if (m_lower.vector()[a] - t > c || c > m_upper.vector()[a] + t) return false;
        }
        return true;
    }

    // The corner named by the enumerator; the origin for any value outside 0..7.
    Point3D corner(_CornerType type) const {
        int const v = static_cast<int>(type);
        if (v < 0 || v > 7) return Point3D();
        return Point3D((v & 4) ? m_lower.x() : m_upper.x(), (v & 2) ? m_lower.y() : m_upper.y(),
                       (v & 1) ? m_lower.z() : m_upper.z());
    }
    // corner(to) - corner(from).
    Vector3D vector(_CornerType from, _CornerType to) const {
        return corner(to).vector() - corner(from).vector();
    }
    Vector3D diagonal() const { return m_upper.vector() - m_lower.vector(); }
    Point3D centroid() const { return m_lower.mid(m_upper); }
    // Extents along x, y, z as absolute values.
    double length() const { return std::fabs(m_upper.x() - m_lower.x()); }
    double width() const { return std::fabs(m_upper.y() - m_lower.y()); }
    double height() const { return std::fabs(m_upper.z() - m_lower.z()); }

    // Both corners equal under Point3D::operator== (1e-13); empty flags are not compared.
    bool operator==(BoundingBox3D const &b) const {
        return m_lower == b.m_lower && m_upper == b.m_upper;
    }
    bool operator!=(BoundingBox3D const &b) const { return !(*this == b); }
    // Both corners equal under Point3D::isEqual; empty flags are not compared.
    bool isEqual(BoundingBox3D const &b, Tolerance const &tol) const {
        return m_lower.isEqual(b.m_lower, tol) && m_upper.isEqual(b.m_upper, tol);
    }
    bool isNotEqual(BoundingBox3D const &b, Tolerance const &tol) const { return !isEqual(b, tol); }

private:
    void grow(Point3D const &lo, Point3D const &hi) {
        m_lower = Point3D(std::min(m_lower.x(), lo.x()), std::min(m_lower.y(), lo.y()),
                          std::min(m_lower.z(), lo.z()));
        m_upper = Point3D(std::max(m_upper.x(), hi.x()), std::max(m_upper.y(), hi.y()),
                          std::max(m_upper.z(), hi.z()));
    }
    bool clash(Point3D const &lo, Point3D const &hi, double t) const {
        for (int a = 0; a < 3; ++a) {
            if (m_lower.vector()[a] - t > hi.vector()[a] || lo.vector()[a] > m_upper.vector()[a] + t)
                return false;
        }
        return true;
    }

    Point3D m_lower;
    Point3D m_upper;
    bool m_empty;
};

} // namespace ORVANE_DATABASE
