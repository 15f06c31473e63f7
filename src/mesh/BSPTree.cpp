// BSP tree: construction from a mesh or a polygon list, point classification, release.
//
// A tree may be as deep as its depth limit (7000 from the mesh's accessor), so nothing here
// recurses over the tree: the build keeps its pending subtrees on an explicit stack, the
// query runs a small evaluation machine, and nodes are freed iteratively.
#include "BSPTree.h"

#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "mesh/PolygonSplit.h"

#include <utility>
#include <vector>

namespace ORVANE_DATABASE {

namespace {
char const *const kDepthExhausted = "BSP Build Fail Due To high No. Of Triangles ";
} // namespace

// Builds the node tree from a list of polygons. Polygons are plain records referring to
// their points in one growing arena and to their source triangles as a range of a flat array:
// a cut never changes a polygon's source list, so both pieces share their parent's range, and
// moving a polygon from list to list copies four numbers instead of a point container.
class BSPBuilder {
public:
    struct WorkPolygon {
        std::size_t firstPoint;
        std::size_t pointCount;
        Triangle *const *sources;
        std::size_t sourceCount;
    };
    using PolygonList = std::vector<WorkPolygon>;

    explicit BSPBuilder(Tolerance const &tol) : m_tol(tol) {}

    // Appends the `count` points [first, last) to the arena and returns the polygon's record.
    template <class Iterator>
    WorkPolygon addPolygon(Iterator first, Iterator last, std::size_t count,
                           Triangle *const *sources, std::size_t sourceCount) {
        WorkPolygon const polygon{m_points.size(), count, sources, sourceCount};
        m_points.insert(m_points.end(), first, last);
        return polygon;
    }
    void reservePoints(std::size_t n) { m_points.reserve(n); }

    // Builds the subtree of `polygons` into `root` with the given depth budget. Returns false,
    // with `error` set, when some node would have to be built with no depth left; nothing is
    // built after that, and the caller frees what was.
    bool build(std::unique_ptr<BSPTree::Node> &root, PolygonList polygons, std::size_t depth,
               std::string &error) {
        // One pending subtree: the owning slot of its node, its polygons, its depth budget.
        // Popping the front child before its back sibling completes the front subtree before
        // the back one is started, as a recursive build would.
        struct Pending {
            std::unique_ptr<BSPTree::Node> *slot;
            PolygonList polygons;
            std::size_t depth;
        };
        std::vector<Pending> stack;
        stack.push_back(Pending{&root, std::move(polygons), depth});
        while (!stack.empty()) {
            Pending task = std::move(stack.back());
            stack.pop_back();
            *task.slot = std::make_unique<BSPTree::Node>();
            if (task.depth == 0) {
                error = kDepthExhausted;
                return false;
            }
            BSPTree::Node &node = **task.slot;
            PolygonList front;
            if (!partition(node, task.polygons, front)) continue;
            PolygonList &back = task.polygons;
            if (!back.empty())
                stack.push_back(Pending{&node.m_back, std::move(back), task.depth - 1});
            if (!front.empty())
                stack.push_back(Pending{&node.m_front, std::move(front), task.depth - 1});
        }
        return true;
    }

private:
    // Chooses the node's splitter (the last polygon that is not degenerate; the degenerate ones
    // passed over land in the node), then sorts the other polygons into the node (coplanar),
    // the front list and the back list, cutting those that span the plane. The back list
    // takes the place of `polygons` (compacted in order, so no second list is allocated for
    // it). Returns false when no polygon had a plane (the node keeps none and gets no
    // children; `polygons` is then empty).
    bool partition(BSPTree::Node &node, PolygonList &polygons, PolygonList &front) {
        while (!polygons.empty()) {
            WorkPolygon const splitter = polygons.back();
            polygons.pop_back();
            addSources(node, splitter);
            Plane const plane = bsp::polygonPlane(points(splitter), splitter.pointCount);
            if (bsp::isDegenerate(plane)) continue;
            node.m_plane = std::make_unique<Plane>(plane);
            break;
        }
        if (!node.m_plane) return false;

        Plane &plane = *node.m_plane;
        std::size_t backCount = 0;   // never ahead of the polygon being read
        for (std::size_t i = 0; i < polygons.size(); ++i) {
            WorkPolygon const polygon = polygons[i];
            switch (bsp::splitPolygon(points(polygon), polygon.pointCount, plane, m_tol,
                                      m_frontPiece, m_backPiece, m_classes)) {
            case bsp::PolygonSide::Coplanar:
                addSources(node, polygon);
                break;
            case bsp::PolygonSide::Front:
                front.push_back(polygon);
                break;
            case bsp::PolygonSide::Back:
                polygons[backCount++] = polygon;
                break;
            case bsp::PolygonSide::Spanning:
                // The arena may move here; the polygon's own points are not read again.
                front.push_back(addPiece(m_frontPiece, polygon));
                polygons[backCount++] = addPiece(m_backPiece, polygon);
                break;
            }
        }
        polygons.resize(backCount);
        // The back list may wait on the stack while the front subtree is built; keeping the
        // whole parent's room there could pile up quadratic memory along a deep path.
        if (polygons.capacity() > 2 * backCount) polygons.shrink_to_fit();
        return true;
    }

    // A piece of a cut polygon: new points, the parent's source triangles.
    WorkPolygon addPiece(std::vector<Point3D> const &piece, WorkPolygon const &parent) {
        return addPolygon(piece.begin(), piece.end(), piece.size(), parent.sources,
                          parent.sourceCount);
    }

    Point3D const *points(WorkPolygon const &polygon) const {
        return m_points.data() + polygon.firstPoint;
    }

    static void addSources(BSPTree::Node &node, WorkPolygon const &polygon) {
        node.m_coplanar.insert(node.m_coplanar.end(), polygon.sources,
                               polygon.sources + polygon.sourceCount);
    }

    Tolerance const &m_tol;
    std::vector<Point3D> m_points;   // every polygon's and every piece's points
    // Scratch space of splitPolygon, reused across polygons.
    std::vector<Point3D> m_frontPiece;
    std::vector<Point3D> m_backPiece;
    std::vector<Plane::_Pos> m_classes;
};

namespace {

// Shared tail of both create functions: an empty list gives a rootless tree (unless the
// depth limit is 0, which fails whatever the input), otherwise the build decides.
BSPTree::Node *buildRoot(BSPBuilder &builder, BSPBuilder::PolygonList polygons,
                         std::string &error, std::size_t depthLimit, bool &ok) {
    error.clear();
    ok = true;
    if (polygons.empty() && depthLimit > 0) return nullptr;
    std::unique_ptr<BSPTree::Node> root;
    ok = builder.build(root, std::move(polygons), depthLimit, error);
    return ok ? root.release() : nullptr;
}

} // namespace

BSPTree *BSPTree::create(Triangulation const *mesh, std::string &error, Tolerance const &tol,
                         std::size_t depthLimit, std::size_t /*secondCount*/) {
    std::vector<Triangle *> const &triangles = mesh->triangleList();
    std::vector<Vertex *> const &vertices = mesh->vertexList();
    BSPBuilder builder(tol);
    builder.reservePoints(3 * triangles.size());
    BSPBuilder::PolygonList polygons;
    polygons.reserve(triangles.size());
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        Triangle *const t = triangles[i];
        Point3D const corners[3] = {*vertices.at(t->vertexIndex(0))->point(),
                                    *vertices.at(t->vertexIndex(1))->point(),
                                    *vertices.at(t->vertexIndex(2))->point()};
        polygons.push_back(builder.addPolygon(corners, corners + 3, 3, &triangles[i], 1));
    }
    bool ok = false;
    std::unique_ptr<Node> root(buildRoot(builder, std::move(polygons), error, depthLimit, ok));
    if (!ok) return nullptr;
    return new BSPTree(root.release(), tol, mesh);
}

BSPTree *BSPTree::create(std::list<BSPTree::Polygon> const &polygons, std::string &error,
                         Tolerance const &tol, std::size_t depthLimit,
                         std::size_t /*secondCount*/) {
    // One flat array of every polygon's source triangles; the working polygons refer to their
    // ranges in it, and it outlives the build.
    std::size_t sourceTotal = 0;
    for (Polygon const &p : polygons) sourceTotal += p.sourceTriangles.size();
    std::vector<Triangle *> sources;
    sources.reserve(sourceTotal);
    BSPBuilder builder(tol);
    BSPBuilder::PolygonList work;
    work.reserve(polygons.size());
    for (Polygon const &p : polygons) {
        std::size_t const first = sources.size();
        sources.insert(sources.end(), p.sourceTriangles.begin(), p.sourceTriangles.end());
        work.push_back(builder.addPolygon(p.points.begin(), p.points.end(), p.points.size(),
                                          sources.data() + first, p.sourceTriangles.size()));
    }
    bool ok = false;
    std::unique_ptr<Node> root(buildRoot(builder, std::move(work), error, depthLimit, ok));
    if (!ok) return nullptr;
    return new BSPTree(root.release(), tol, nullptr);
}

BSPTree::BSPTree(BSPTree::Node *root, Tolerance const &tol, Triangulation const *mesh)
    : m_mesh(mesh), m_root(root), m_tolerance(std::make_unique<Tolerance>(tol)) {}

BSPTree::~BSPTree() = default;

void BSPTree::release() { delete this; }

BSPTree::Node::~Node() {
    // Detach the children before they die so that no destructor below this one ever finds a
    // child of its own: the subtree is taken apart level by level on a heap stack.
    std::vector<std::unique_ptr<Node>> pending;
    if (m_front) pending.push_back(std::move(m_front));
    if (m_back) pending.push_back(std::move(m_back));
    while (!pending.empty()) {
        std::unique_ptr<Node> node = std::move(pending.back());
        pending.pop_back();
        if (node->m_front) pending.push_back(std::move(node->m_front));
        if (node->m_back) pending.push_back(std::move(node->m_back));
    }
}

namespace {

// A child that exists and has a plane; a child without a plane counts as no child.
BSPTree::Node const *liveChild(BSPTree::Node const *child) {
    return child != nullptr && child->plane() != nullptr ? child : nullptr;
}

} // namespace

Plane::_Pos BSPTree::pointPosition(Point3D const &q) const {
    if (!m_root || m_root->plane() == nullptr) return Plane::POS_NONE;
    Tolerance const &tol = *m_tolerance;

    // classify(node) is: the node's answer from the side q lies on, continuing into the child
    // on that side when there is one; for q in the plane both sides are worked out, front
    // first, and their answer kept when they agree, POS_ON otherwise. One side only is a tail
    // call (the frame is replaced); only in-plane nodes keep a frame, waiting for a side.
    enum class Wait { FrontSide, BackSide };
    struct Frame {
        Node const *node;
        Wait waiting;
        Plane::_Pos frontAnswer;
    };
    std::vector<Frame> frames;
    Node const *node = m_root.get();
    for (;;) {
        // Descend from `node` until an answer is known.
        Plane::_Pos answer = Plane::POS_NONE;
        while (node != nullptr) {
            Plane::_Pos const side = node->plane()->pointPosition(q, tol);
            if (side == Plane::POS_ON) {
                frames.push_back(Frame{node, Wait::FrontSide, Plane::POS_NONE});
                node = liveChild(node->front());
                if (node == nullptr) answer = Plane::POS_ABOVE;
            } else {
                Node const *next =
                    liveChild(side == Plane::POS_ABOVE ? node->front() : node->back());
                if (next == nullptr) answer = side;
                node = next;
            }
        }
        // Hand the answer up to the frames waiting for it.
        for (;;) {
            if (frames.empty()) return answer;
            Frame &frame = frames.back();
            if (frame.waiting == Wait::FrontSide) {
                frame.frontAnswer = answer;
                frame.waiting = Wait::BackSide;
                node = liveChild(frame.node->back());
                if (node != nullptr) break;   // work out the back side first
                answer = Plane::POS_BELOW;
            }
            answer = frame.frontAnswer == answer ? answer : Plane::POS_ON;
            frames.pop_back();
        }
    }
}

Point3D BSPTree::findClosestPoint(Point3D const & /*q*/) const { return Point3D(0.0, 0.0, 0.0); }

} // namespace ORVANE_DATABASE
