#include "Grid.h"

#include <memory>
#include <string>
#include <utility>

namespace ORVANE_DATABASE {

Grid::Grid(std::size_t height, std::size_t width)
    : Entity(nullptr),
      m_height(height),
      m_width(width),
      m_delta(0.0),
      m_points(nullptr),
      m_applyAsTexture(false),
      m_path(nullptr) {
    Grid::generateEntityName();
    m_points = new std::vector<Point3D *>();   // last: nothing after it can throw and lose it
}

namespace {

// New point objects with the coordinates of src, in order. All or nothing: on an allocation
// failure the points made so far are released before the exception goes on.
std::unique_ptr<std::vector<Point3D *>> clonePoints(std::vector<Point3D *> const &src) {
    std::unique_ptr<std::vector<Point3D *>> out(new std::vector<Point3D *>());
    out->reserve(src.size());
    try {
        for (Point3D const *p : src) out->push_back(new Point3D(*p));
    } catch (...) {
        for (Point3D *p : *out) delete p;
        throw;
    }
    return out;
}

} // namespace

Grid::Grid(Grid const &other)
    : Entity(other),
      m_height(other.m_height),
      m_width(other.m_width),
      m_delta(other.m_delta),
      m_points(nullptr),
      m_applyAsTexture(other.m_applyAsTexture),
      m_path(nullptr) {
    std::unique_ptr<std::string> path(other.m_path ? new std::string(*other.m_path) : nullptr);
    m_points = clonePoints(*other.m_points).release();
    m_path = path.release();
}

Grid &Grid::operator=(Grid const &other) {
    if (this == &other) return *this;
    // Everything that allocates is made first, so a failure leaves this grid as it was.
    std::unique_ptr<std::string> path(other.m_path ? new std::string(*other.m_path) : nullptr);
    std::unique_ptr<std::vector<Point3D *>> points = clonePoints(*other.m_points);
    Entity::operator=(other);
    releasePoints();
    delete m_path;
    m_points = points.release();
    m_path = path.release();
    m_height = other.m_height;
    m_width = other.m_width;
    m_delta = other.m_delta;
    m_applyAsTexture = other.m_applyAsTexture;
    return *this;
}

Grid::~Grid() {
    releasePoints();
    delete m_path;
}

void Grid::releasePoints() {
    for (Point3D *p : *m_points) delete p;
    delete m_points;
    m_points = nullptr;
}

void Grid::addRowPoints(Point3D *p) {
    m_points->push_back(p);
    box().add(*p);
}

Vector3D Grid::getNormal(int i, int j) {
    // Indices in the wrapping unsigned arithmetic of getIndex: a neighbour's index is P's
    // index plus or minus width or 1, which is also safe at the ends of the int range.
    std::size_t const index = getIndex(i, j);
    Vector3D const centre = m_points->at(index)->vector();
    std::size_t const row = static_cast<std::size_t>(i);
    std::size_t const col = static_cast<std::size_t>(j);
    auto offset = [&](std::size_t neighbour) { return m_points->at(neighbour)->vector() - centre; };

    // Neighbour vectors in the order up, left, down, right; ring[4] repeats ring[0] when all
    // four exist.
    Vector3D ring[5];
    std::size_t m = 0;
    bool const up = row != 0;
    bool const left = col != 0;
    bool const down = row != m_height - 1;
    bool const right = col != m_width - 1;
    if (up) ring[m++] = offset(index - m_width);
    if (left) ring[m++] = offset(index - 1);
    if (down) ring[m++] = offset(index + m_width);
    if (right) ring[m++] = offset(index + 1);
    if (m == 4) ring[m++] = ring[0];
    // The corner at the last row, first column: up and right taken in ring order (right,
    // then up), so that its normal points the same way as at the other three corners.
    if (m == 2 && up && right) std::swap(ring[0], ring[1]);
    // Fewer than two neighbours give no product: the zero vector, not 0 / 0.
    if (m < 2) return Vector3D(0.0, 0.0, 0.0);

    Vector3D sum(0.0, 0.0, 0.0);
    for (std::size_t k = 1; k < m; ++k) sum += ring[k - 1] ^ ring[k];
    Vector3D average = sum / static_cast<double>(m - 1);
    double const length = average.magnitude();
    if (length >= 1e-13) average /= length;
    return average;
}

void Grid::setFilePath(std::string path) {
    if (m_path == nullptr) {
        m_path = new std::string(std::move(path));
    } else {
        *m_path = std::move(path);
    }
}

std::string Grid::textureFilePath() {
    if (!m_applyAsTexture || m_path == nullptr) return std::string();
    return std::string(m_path->c_str());   // up to the first null character
}

Entity::_EntityType Grid::entityType() { return ET_GRID; }

void Grid::generateEntityName() { setName("Grid_" + std::to_string(getID())); }

} // namespace ORVANE_DATABASE
