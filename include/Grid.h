#pragma once
// Rectangular array of points, height rows of width points, stored row after row in one
// list, with a surface normal at every grid point and texture settings kept for the host.
#include "Entity.h"
#include "OrvaneExport.h"
#include "Point3D.h"
#include "Vector3D.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ORVANE_DATABASE {

// Ownership: the grid owns its points (every pointer given to addRowPoints, which must come
// from new), the list and the texture path; the destructor deletes the points, the list, then
// the path. The grid does not check that height * width points were supplied.
class ORVANE_API Grid : public Entity {
public:
    // Height (rows), then width (points per row). Empty list, delta 0, no texture, no path.
    Grid(std::size_t height, std::size_t width);
    // Copies are deep: new point objects with the same coordinates in the same order, and a
    // new path string; dimensions, delta and texture flag copied. The entity part follows
    // Entity's copy rule. Self-assignment is a no-op; assignment releases the points this grid
    // held before.
    Grid(Grid const &other);
    Grid &operator=(Grid const &other);
    ~Grid() override;

    // (The dimensions and delta are returned as plain values: a const-qualified scalar
    // return type carries no meaning.)
    std::size_t height() const { return m_height; }
    std::size_t width() const { return m_width; }
    void setDelta(double delta) { m_delta = delta; }
    double delta() const { return m_delta; }

    // Appends one point (the pointer; the grid takes it over) and grows the box by it. A row
    // is added by width calls, rows in order.
    void addRowPoints(Point3D *p);
    std::vector<Point3D *> *rowPointList() { return m_points; }

    // width * i + j, with no range test. Negative arguments wrap as in two's complement, so a
    // negative column with a positive row can still name a stored point.
    std::size_t getIndex(int i, int j) {
        return m_width * static_cast<std::size_t>(i) + static_cast<std::size_t>(j);
    }
    // The point at row i, column j; std::out_of_range when getIndex(i, j) is at or beyond the
    // number of stored points.
    Point3D *getPoint(int i, int j) { return m_points->at(getIndex(i, j)); }

    // Unit normal at row i, column j from the cross products of consecutive neighbour vectors
    // (N[k-1] - P) x (N[k] - P), neighbours collected in the order up (i-1), left (j-1),
    // down (i+1), right (j+1) and closed into a ring when all four exist; the products are
    // averaged and the average normalised when it is at least 1e-13 long (else returned as
    // it is). For a flat grid whose columns run along +x and rows along +y the normal is
    // (0, 0, -1). Throws std::out_of_range when the point or a neighbour is not stored.
    // Choices where the neighbour order alone gives no answer:
    // - the corner at row height-1, column 0 takes its two neighbours in ring order, giving
    //   (right - P) x (up - P), so that it points the same way as the other three corners;
    // - a point with fewer than two neighbours (a one-point grid, or the ends of a grid one
    //   point high or wide) has no product: the result is the zero vector.
    Vector3D getNormal(int i, int j);

    void applyAsTexture(bool apply) { m_applyAsTexture = apply; }
    bool applyAsTexture() { return m_applyAsTexture; }
    // Stores its own copy of the path in place of the previous one.
    void setFilePath(std::string path);
    // Empty unless the texture flag is set; then the stored path up to its first null
    // character, or empty when no path was set.
    std::string textureFilePath();

    _EntityType entityType() override;

private:
    void generateEntityName() override;
    void releasePoints();

    std::size_t m_height;
    std::size_t m_width;
    double m_delta;
    std::vector<Point3D *> *m_points;  // owned, and so are the points
    bool m_applyAsTexture;
    std::string *m_path;               // owned; null until a path is set
};

} // namespace ORVANE_DATABASE
