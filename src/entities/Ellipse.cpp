#include "Ellipse.h"

#include "entities/ClosedCurve.h"

#include <cmath>
#include <memory>
#include <string>

namespace ORVANE_DATABASE {

Ellipse::Ellipse(Point3D *center, double majorAxis, double minorAxis, Vector3D *normal,
                 Vector3D *mjNormal, std::size_t noOfSeg)
    : Entity(nullptr),
      m_center(center),
      m_normal(normal),
      m_majorAxis(majorAxis),
      m_minorAxis(minorAxis),
      m_mjNormal(mjNormal),
      m_noOfSeg(noOfSeg),
      m_points(nullptr) {
    // The destructor does not run for a constructor that throws: release what was taken over.
    try {
        if (m_center == nullptr) m_center = new Point3D(0.0, 0.0, 0.0);
        if (m_normal == nullptr) m_normal = new Vector3D(0.0, 0.0, 1.0);
        if (m_mjNormal == nullptr) m_mjNormal = new Vector3D(1.0, 0.0, 0.0);
        m_points = new std::vector<Point3D *>();
        Ellipse::generateEntityName();
        generatePoints();
    } catch (...) {
        delete m_points;
        delete m_mjNormal;
        delete m_normal;
        delete m_center;
        throw;
    }
}

Ellipse::Ellipse(Ellipse const &other)
    : Entity(other),
      m_center(nullptr),
      m_normal(nullptr),
      m_majorAxis(other.m_majorAxis),
      m_minorAxis(other.m_minorAxis),
      m_mjNormal(nullptr),
      m_noOfSeg(other.m_noOfSeg),
      m_points(nullptr) {
    std::unique_ptr<Point3D> center(new Point3D(*other.m_center));
    std::unique_ptr<Vector3D> normal(new Vector3D(*other.m_normal));
    std::unique_ptr<Vector3D> mjNormal(new Vector3D(*other.m_mjNormal));
    std::unique_ptr<std::vector<Point3D *>> points(new std::vector<Point3D *>(*other.m_points));
    m_center = center.release();
    m_normal = normal.release();
    m_mjNormal = mjNormal.release();
    m_points = points.release();
}

Ellipse &Ellipse::operator=(Ellipse const &other) {
    if (this == &other) return *this;
    *m_points = *other.m_points;   // the only step that allocates: done before anything changes
    Entity::operator=(other);
    *m_center = *other.m_center;
    *m_normal = *other.m_normal;
    m_majorAxis = other.m_majorAxis;
    m_minorAxis = other.m_minorAxis;
    *m_mjNormal = *other.m_mjNormal;
    m_noOfSeg = other.m_noOfSeg;
    return *this;
}

Ellipse::~Ellipse() {
    delete m_center;
    delete m_normal;
    delete m_mjNormal;
    delete m_points;
}

Entity::_EntityType Ellipse::entityType() { return ET_ELLIPSE; }

void Ellipse::generateEntityName() { setName("Ellipse_" + std::to_string(getID())); }

void Ellipse::generatePoints() {
    // Only an exactly perpendicular major-axis direction defines an ellipse in the plane; a
    // NaN product fails the test as well.
    double const dot = *m_mjNormal * *m_normal;
    if (!(dot == 0.0)) return;

    // Turn the local frame about its z axis until its x axis meets the major-axis direction:
    // in the local frame that direction lies in the XY plane (it is perpendicular to the
    // normal), at the angle alpha from the x axis. A zero direction gives alpha = 0.
    Matrix4x4 const toLocal = curve_detail::toLocalFrame(*m_normal);
    Vector3D const major = m_mjNormal->transformVector(toLocal);   // no translation part
    double const alpha = std::atan2(major.j(), major.i());
    Matrix4x4 const place = curve_detail::placement(toLocal, *m_center) *
                            Matrix4x4::rotation(Direction3D(0.0, 0.0, 1.0), alpha);

    double const theta =
        m_noOfSeg == 0 ? 0.0 : curve_detail::kFullTurn / static_cast<double>(m_noOfSeg);
    double const a = m_majorAxis;
    double const b = m_minorAxis;
    std::size_t step = 0;
    auto next = [&](double &x, double &y) {
        double const phi = static_cast<double>(step++) * theta;
        x = a * std::cos(phi);
        y = b * std::sin(phi);
    };
    curve_detail::appendClosedCurve(*m_points, box(), place, m_noOfSeg, next);
}

} // namespace ORVANE_DATABASE
