#include "Circle.h"

#include "entities/ClosedCurve.h"

#include <cmath>
#include <memory>
#include <string>

namespace ORVANE_DATABASE {

Circle::Circle(double radius, Point3D *center, Vector3D *normal, std::size_t noOfSeg)
    : Entity(nullptr),
      m_noOfSeg(noOfSeg),
      m_radius(radius),
      m_center(center),
      m_normal(normal),
      m_points(nullptr) {
    // The destructor does not run for a constructor that throws: release what was taken over.
    try {
        if (m_center == nullptr) m_center = new Point3D(0.0, 0.0, 0.0);
        if (m_normal == nullptr) m_normal = new Vector3D(0.0, 0.0, 1.0);
        m_points = new std::vector<Point3D *>();
        Circle::generateEntityName();
        generatePoints();
    } catch (...) {
        delete m_points;
        delete m_normal;
        delete m_center;
        throw;
    }
}

Circle::Circle(Circle const &other)
    : Entity(other),
      m_noOfSeg(other.m_noOfSeg),
      m_radius(other.m_radius),
      m_center(nullptr),
      m_normal(nullptr),
      m_points(nullptr) {
    std::unique_ptr<Point3D> center(new Point3D(*other.m_center));
    std::unique_ptr<Vector3D> normal(new Vector3D(*other.m_normal));
    std::unique_ptr<std::vector<Point3D *>> points(new std::vector<Point3D *>(*other.m_points));
    m_center = center.release();
    m_normal = normal.release();
    m_points = points.release();
}

Circle &Circle::operator=(Circle const &other) {
    if (this == &other) return *this;
    *m_points = *other.m_points;   // the only step that allocates: done before anything changes
    Entity::operator=(other);
    m_noOfSeg = other.m_noOfSeg;
    m_radius = other.m_radius;
    *m_center = *other.m_center;
    *m_normal = *other.m_normal;
    return *this;
}

Circle::~Circle() {
    delete m_center;
    delete m_normal;
    delete m_points;
}

Entity::_EntityType Circle::entityType() { return ET_CIRCLE; }

void Circle::generateEntityName() { setName("Circle_" + std::to_string(getID())); }

void Circle::generatePoints() {
    // Incremental rotation: (x, y) turns by theta each step, scaled back by cos theta, so the
    // rounding error accumulates along the curve as the point layout prescribes.
    double const theta =
        m_noOfSeg == 0 ? 0.0 : curve_detail::kFullTurn / static_cast<double>(m_noOfSeg);
    double const t = std::tan(theta);
    double const k = std::cos(theta);
    double x = m_radius;
    double y = 0.0;
    auto next = [&](double &px, double &py) {
        px = x;
        py = y;
        double const nx = (x - y * t) * k;
        double const ny = (x * t + y) * k;
        x = nx;
        y = ny;
    };
    Matrix4x4 const place =
        curve_detail::placement(curve_detail::toLocalFrame(*m_normal), *m_center);
    curve_detail::appendClosedCurve(*m_points, box(), place, m_noOfSeg, next);
}

} // namespace ORVANE_DATABASE
