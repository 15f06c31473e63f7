// BSP tree: construction from a mesh or a polygon list, point classification, release.
//
// A tree may be as deep as its depth limit (7000 from the mesh's accessor), so nothing here
// recurses over the tree: the build keeps its pending subtrees on an explicit stack, the
// query runs a small evaluation machine, and the nodes are one array, freed as a whole.
#include "BSPTree.h"

#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "mesh/PolygonSplit.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace ORVANE_DATABASE {

namespace {

char const *const kDepthExhausted = "BSP Build Fail Due To high No. Of Triangles ";
constexpr std::size_t kNoNode = std::numeric_limits<std::size_t>::max();

// The mesh triangles that the input polygons stand for: input polygon o stands for
// items[offsets[o] .. offsets[o + 1]), or, without offsets (a mesh), for items[o] alone.
struct PolygonSources {
    Triangle *const *items = nullptr;
    std::size_t const *offsets = nullptr;
    Triangle *const *begin(std::size_t o) const { return items + (offsets ? offsets[o] : o); }
    Triangle *const *end(std::size_t o) const { return items + (offsets ? offsets[o + 1] : o + 1); }
};

} // namespace

// A growable array of trivially copyable records that hands out raw room beyond its size
// (what std::vector cannot do without initialising it first).
template <class T>
class RecordArray {
public:
    std::size_t size() const { return m_size; }
    T *data() { return m_data.get(); }
    T const *data() const { return m_data.get(); }
    T &operator[](std::size_t i) { return m_data[i]; }
    // Makes room for `count` records beyond the size; pointers obtained before may move.
    void reserveMore(std::size_t count) {
        if (m_capacity - m_size >= count) return;
        std::size_t const capacity = std::max(m_size + count, 2 * m_capacity);
        std::unique_ptr<T[]> grown(new T[capacity]);
        if (m_size > 0) std::memcpy(grown.get(), m_data.get(), m_size * sizeof(T));
        m_data = std::move(grown);
        m_capacity = capacity;
    }
    void push_back(T const &value) {
        reserveMore(1);
        m_data[m_size++] = value;
    }
    // Sets the size; records beyond the old size must have been written.
    void setSize(std::size_t size) { m_size = size; }

private:
    std::unique_ptr<T[]> m_data;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

// Builds the node tree into flat storage. Every polygon is a 48-byte record: a ball around its
// points (which settles the side of most polygons without reading the points), where its
// points start in one point array, how many there are, and which input polygon it comes from
// (its source triangles; a cut never changes them, so both pieces keep their parent's).
//
// The pending polygon lists live in one record array used as a stack: the list of the node
// being built is its top segment [begin, end); the node's back list replaces it in place from
// begin and its front list is written above end, where the front subtree, built next, finds
// it on top. The point array is a stack as well: the pieces cut at a node are referred to
// only by the lists of that node's subtree, so once a subtree is finished its pieces are
// dropped, and the array holds only the pieces of the lists still pending. Nodes are records
// in build order (a node, then its front subtree, then its back subtree, so a front child is
// always the next record) and become the tree's node array at the end; until then the
// input polygons whose triangles the nodes hold are one flat array, node after node.
class BSPBuilder {
public:
    struct WorkPolygon {
        bsp::PointBall ball;
        std::uint64_t firstPoint;
        std::uint32_t pointCount;
        std::uint32_t origin;
    };

    BSPBuilder(Tolerance const &tol, PolygonSources sources)
        : m_tol(tol), m_threshold(tol.value()), m_sources(sources) {}

    // Room for the input and for what a mesh's build typically adds (real meshes give some
    // four nodes per triangle, and cut pieces pending at once about as many points as the
    // input has): growing these arrays copies them, while room never written costs address
    // space only.
    void reserve(std::size_t polygons, std::size_t points) {
        m_work.reserveMore(2 * polygons);
        m_points.reserve(2 * points);
        m_nodes.reserve(4 * polygons);
        m_coplanar.reserve(4 * polygons);
    }

    // Appends input polygon number `origin` with the points [first, last).
    template <class Iterator>
    void addInput(Iterator first, Iterator last, std::size_t origin) {
        std::size_t const start = m_points.size();
        m_points.insert(m_points.end(), first, last);
        m_work.push_back(record(start, m_points.size() - start, origin));
    }

    bool empty() const { return m_work.size() == 0; }

    // Builds the tree of the input polygons with the depth budget `depth`. Returns false,
    // with `error` set, when some node would have to be built with no depth left; nothing is
    // built after that.
    bool build(std::size_t depth, std::string &error) {
        // A pending subtree: its list m_work[begin, end), the size of the point array when it
        // was set aside (its list refers to no point beyond), its depth budget, and, for a
        // back subtree, its parent (a front child needs no link: it is the node built right
        // after its parent). Popping the front child before its back sibling
        // completes the front subtree before the back one is started, as a recursive build
        // would; everything above the back list is then finished.
        struct Pending {
            std::size_t begin;
            std::size_t end;
            std::size_t pointMark;
            std::size_t depth;
            std::size_t parent;
        };
        std::vector<Pending> stack;
        stack.push_back(Pending{0, m_work.size(), m_points.size(), depth, kNoNode});
        while (!stack.empty()) {
            Pending const task = stack.back();
            stack.pop_back();
            m_work.setSize(task.end);             // the lists of finished subtrees
            m_points.resize(task.pointMark);      // and their pieces
            std::size_t const index = m_nodes.size();
            m_nodes.emplace_back();
            if (task.parent != kNoNode) m_nodes[task.parent].back = index;
            if (task.depth == 0) {
                error = kDepthExhausted;
                return false;
            }
            std::size_t const listEnd = chooseSplitter(index, task.begin, task.end);
            if (listEnd == kNoNode) continue;
            std::size_t backEnd = task.begin;
            partition(index, task.begin, listEnd, backEnd);
            std::size_t const mark = m_points.size();
            if (backEnd > task.begin)
                stack.push_back(Pending{task.begin, backEnd, mark, task.depth - 1, index});
            if (m_work.size() > listEnd) {
                m_nodes[index].hasFront = true;
                stack.push_back(Pending{listEnd, m_work.size(), mark, task.depth - 1, kNoNode});
            }
        }
        return true;
    }

    // The node array of a finished build, its root first (null when nothing was built).
    BSPTree::Node *release() {
        if (m_nodes.empty()) return nullptr;
        std::unique_ptr<BSPTree::Node[]> nodes(new BSPTree::Node[m_nodes.size()]);
        for (std::size_t i = 0; i < m_nodes.size(); ++i) {
            BuildNode const &from = m_nodes[i];
            BSPTree::Node &to = nodes[i];
            to.m_plane = from.plane;
            to.m_hasPlane = from.hasPlane;
            to.m_front = from.hasFront ? &nodes[i + 1] : nullptr;
            to.m_back = from.back == kNoNode ? nullptr : &nodes[from.back];
            std::size_t const last =
                i + 1 < m_nodes.size() ? m_nodes[i + 1].coplanarBegin : m_coplanar.size();
            for (std::size_t c = from.coplanarBegin; c < last; ++c)
                to.m_coplanar.insert(to.m_coplanar.end(), m_sources.begin(m_coplanar[c]),
                                     m_sources.end(m_coplanar[c]));
        }
        return nodes.release();
    }

private:
    struct BuildNode {
        Plane plane;
        std::size_t back = kNoNode;
        std::size_t coplanarBegin = 0;   // runs to the next node's coplanarBegin
        bool hasPlane = false;
        bool hasFront = false;
    };

    // Record of the points [first, first + count) of input polygon `origin`, with its ball.
    // The record's narrow fields hold any input that fits in memory; beyond them the build
    // gives up with std::length_error rather than mix up polygons.
    WorkPolygon record(std::size_t first, std::size_t count, std::size_t origin) const {
        if (count > std::numeric_limits<std::uint32_t>::max() ||
            origin > std::numeric_limits<std::uint32_t>::max())
            throw std::length_error("BSP build: polygon or point count out of range");
        return WorkPolygon{bsp::ballAround(m_points.data() + first, count), std::uint64_t(first),
                           std::uint32_t(count), std::uint32_t(origin)};
    }

    // The splitter of node `index` from its list m_work[begin, end): the last polygon that is
    // not degenerate; it and the degenerate ones passed over land in the node. Returns the
    // splitter's position, so that the rest of the list is m_work[begin, position); kNoNode
    // when every polygon was degenerate (the node keeps no plane and gets no children).
    std::size_t chooseSplitter(std::size_t index, std::size_t begin, std::size_t end) {
        BuildNode &node = m_nodes[index];
        node.coplanarBegin = m_coplanar.size();
        while (end > begin) {
            WorkPolygon const splitter = m_work[--end];
            addSources(splitter);
            Plane const plane = bsp::polygonPlane(points(splitter), splitter.pointCount);
            if (bsp::isDegenerate(plane)) continue;
            node.plane = plane;
            node.hasPlane = true;
            return end;
        }
        return kNoNode;
    }

    // Sorts the polygons m_work[begin, end) against the plane of node `index` into the node
    // (coplanar), the back list and the front list, cutting those that span the plane; both
    // lists keep list order. The back list replaces the input from begin (up to `backEnd`),
    // the front list is written from end (where the splitter's record was) to the new size
    // of m_work.
    //
    // Most polygons are settled by their ball alone, most others by their points' distances
    // without keeping classes; only polygons with points on the plane or on both sides take
    // the slow way, which classifies every point and cuts. The list goes by in blocks, each
    // in three passes: the balls of the whole block (no branch: which polygons they settle
    // follows no pattern), then the points of the polygons left open, whose loads are all
    // requested before the first is used (they lie anywhere in the point array, and waiting
    // for each in turn would cost a memory round trip per polygon), then the moves, in list
    // order. A block is read completely before any of its records is written; the back list
    // never overtakes the record being placed, so this changes nothing.
    void partition(std::size_t index, std::size_t begin, std::size_t end, std::size_t &backEnd) {
        // Local copies: the loops write records through raw pointers, and the plane and the
        // thresholds then stay in registers.
        Plane plane = m_nodes[index].plane;
        bsp::PlaneEquation const equation(plane);
        double const t = m_threshold;
        double const tau = bsp::quickThreshold(plane, t);
        m_work.setSize(end);
        m_work.reserveMore(end - begin);
        WorkPolygon *const work = m_work.data();   // no longer moves until the next node
        std::size_t back = begin;   // never ahead of the polygon being placed
        std::size_t front = end;    // never below the polygons still to be read
        constexpr std::size_t kBlock = 64;
        // Per polygon of a block: kFront or kBack when settled, else kMixed with the union of
        // its point classes; before the points are read, 0 for the polygons left open.
        constexpr unsigned kMixed = 0x80;
        struct Block {
            std::size_t count, openCount;
            unsigned char sides[kBlock];
            unsigned char open[kBlock];   // the polygons the balls left open, in block order
        };
        // The balls of the block at `first`, and the requests for the open polygons' points.
        // Counts in locals: the byte stores could alias the block's fields, which would then
        // go through memory at every step.
        auto scan = [&](Block &block, std::size_t first) {
            std::size_t const count = std::min(kBlock, end - first);
            std::size_t openCount = 0;
            WorkPolygon const *const records = work + first;
            unsigned char *const sides = block.sides;
            unsigned char *const open = block.open;
            for (std::size_t i = 0; i < count; ++i) {
                unsigned const side = bsp::quickSide(equation, records[i].ball, tau);
                sides[i] = static_cast<unsigned char>(side);
                open[openCount] = static_cast<unsigned char>(i);
                openCount += side == 0;
            }
            block.count = count;
            block.openCount = openCount;
            Point3D const *const pointBase = m_points.data();
            for (std::size_t k = 0; k < openCount; ++k) {
                WorkPolygon const &polygon = records[block.open[k]];
                prefetchPoints(pointBase + polygon.firstPoint, polygon.pointCount);
            }
        };
        Block blocks[2];
        std::size_t classStart[kBlock];   // where an open polygon's classes start
        if (begin < end) scan(blocks[0], begin);
        for (std::size_t first = begin, current = 0; first < end; first += kBlock, current ^= 1) {
            Block &block = blocks[current];
            // The next block's balls are read now, so that its points are on their way while
            // this block is classified and placed; placing this block writes nothing at or
            // beyond its own end but the front list, above all unread records.
            if (first + kBlock < end) scan(blocks[current ^ 1], first + kBlock);
            WorkPolygon const *const records = work + first;
            std::size_t const count = block.count, openCount = block.openCount;
            unsigned char *const sides = block.sides;
            unsigned char const *const open = block.open;
            // Cut pieces appended by the previous block may have moved the point array.
            Point3D const *const pointBase = m_points.data();
            std::size_t classCount = 0;
            for (std::size_t k = 0; k < openCount; ++k) {
                classStart[k] = classCount;
                classCount += records[open[k]].pointCount;
            }
            if (m_blockClasses.size() < classCount) m_blockClasses.resize(classCount);
            unsigned char *const classes = m_blockClasses.data();
            for (std::size_t k = 0; k < openCount; ++k) {
                WorkPolygon const &polygon = records[open[k]];
                unsigned const seen =
                    bsp::classifyPoints(pointBase + polygon.firstPoint, polygon.pointCount,
                                        equation, t, classes + classStart[k]);
                // kFront or kBack alone settle the polygon as the ball would have; anything
                // else (0 included) leaves it to the slow way, which reuses the classes.
                sides[open[k]] = static_cast<unsigned char>(
                    seen == bsp::kFront || seen == bsp::kBack ? seen : kMixed | seen);
            }
            for (std::size_t i = 0, k = 0; i < count; ++i) {
                unsigned const side = sides[i];
                if (side & kMixed) {
                    while (open[k] != i) ++k;
                    sortMixed(WorkPolygon(records[i]), classes + classStart[k], side & ~kMixed,
                              plane, work, back, front);
                    continue;
                }
                // The record goes to the end of its side's list, chosen without a branch. The
                // back end may be the record's own place (a self-assignment).
                std::size_t const toBack = side >> 2;   // kBack or kFront
                *(toBack ? work + back : work + front) = records[i];
                back += toBack;
                front += toBack ^ 1u;
            }
        }
        backEnd = back;
        m_work.setSize(front);
    }

    // Asks for the cache lines holding the first and the last of the points pts[0..n), which
    // for the triangles and small pieces that make up nearly all lists is all of them.
    static void prefetchPoints(Point3D const *pts, std::size_t n) {
#if defined(__GNUC__) || defined(__clang__)
        if (n == 0) return;
        __builtin_prefetch(pts);
        __builtin_prefetch(reinterpret_cast<char const *>(pts + n) - 1);
#else
        (void)pts;
        (void)n;
#endif
    }

    // The slow way of partition for a polygon with points on the plane or on both sides,
    // whose point classes and their union partition has already worked out.
    void sortMixed(WorkPolygon const &polygon, unsigned char const *classes, unsigned seen,
                   Plane &plane, WorkPolygon *work, std::size_t &back, std::size_t &front) {
        Point3D const *pts = points(polygon);
        std::size_t const n = polygon.pointCount;
        switch (bsp::sideOf(classes, n, seen)) {
        case bsp::PolygonSide::Coplanar:
            addSources(polygon);
            break;
        case bsp::PolygonSide::Front:
            work[front++] = polygon;
            break;
        case bsp::PolygonSide::Back:
            work[back++] = polygon;
            break;
        case bsp::PolygonSide::Spanning:
            if (m_pieces.size() < 4 * n) m_pieces.resize(4 * n);
            std::size_t frontSize = 0, backSize = 0;
            bsp::cutPolygon(pts, n, classes, plane, m_tol, m_pieces.data(), frontSize,
                            m_pieces.data() + 2 * n, backSize);
            // The point array may move here; the polygon's own points are not read again.
            work[front++] = addPiece(m_pieces.data(), frontSize, polygon.origin);
            work[back++] = addPiece(m_pieces.data() + 2 * n, backSize, polygon.origin);
            break;
        }
    }

    // A piece of a cut polygon: new points, the parent's input number.
    WorkPolygon addPiece(Point3D const *piece, std::size_t size, std::uint32_t origin) {
        std::size_t const start = m_points.size();
        for (std::size_t i = 0; i < size; ++i) m_points.push_back(piece[i]);
        return record(start, size, origin);
    }

    Point3D const *points(WorkPolygon const &polygon) const {
        return m_points.data() + polygon.firstPoint;
    }

    // Records only the input polygon: its triangles are looked up when the nodes are made,
    // where the loads of a whole node array overlap (here each would hold up the build).
    void addSources(WorkPolygon const &polygon) { m_coplanar.push_back(polygon.origin); }

    Tolerance const &m_tol;
    double const m_threshold;
    PolygonSources const m_sources;
    std::vector<Point3D> m_points;       // the input's points, then the pieces still pending
    RecordArray<WorkPolygon> m_work;     // the pending lists, a stack of segments
    std::vector<BuildNode> m_nodes;
    // The input polygons whose triangles every node holds, node after node.
    std::vector<std::uint32_t> m_coplanar;
    // Scratch space of the cut, reused across polygons.
    std::vector<Point3D> m_pieces;   // the two pieces of a cut
    std::vector<unsigned char> m_blockClasses;   // the point classes of a block's open polygons
};

namespace {

// Shared tail of both create functions: an empty list gives a rootless tree (unless the
// depth limit is 0, which fails whatever the input), otherwise the build decides. Returns
// false on failure; `root` receives the node array (null for a rootless tree).
bool buildTree(BSPBuilder &builder, std::string &error, std::size_t depthLimit,
               BSPTree::Node *&root) {
    error.clear();
    root = nullptr;
    if (builder.empty() && depthLimit > 0) return true;
    if (!builder.build(depthLimit, error)) return false;
    root = builder.release();
    return true;
}

} // namespace

BSPTree *BSPTree::create(Triangulation const *mesh, std::string &error, Tolerance const &tol,
                         std::size_t depthLimit, std::size_t /*secondCount*/) {
    std::vector<Triangle *> const &triangles = mesh->triangleList();
    std::vector<Vertex *> const &vertices = mesh->vertexList();
    BSPBuilder builder(tol, PolygonSources{triangles.data(), nullptr});
    builder.reserve(triangles.size(), 3 * triangles.size());
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        Triangle *const t = triangles[i];
        Point3D const corners[3] = {*vertices.at(t->vertexIndex(0))->point(),
                                    *vertices.at(t->vertexIndex(1))->point(),
                                    *vertices.at(t->vertexIndex(2))->point()};
        builder.addInput(corners, corners + 3, i);
    }
    Node *root = nullptr;
    if (!buildTree(builder, error, depthLimit, root)) return nullptr;
    std::unique_ptr<Node[]> nodes(root);
    return new BSPTree(nodes.release(), tol, mesh);
}

BSPTree *BSPTree::create(std::list<BSPTree::Polygon> const &polygons, std::string &error,
                         Tolerance const &tol, std::size_t depthLimit,
                         std::size_t /*secondCount*/) {
    // One flat array of every polygon's source triangles, polygon after polygon; it
    // outlives the build.
    std::vector<std::size_t> offsets{0};
    offsets.reserve(polygons.size() + 1);
    std::size_t pointTotal = 0;
    for (Polygon const &p : polygons) {
        offsets.push_back(offsets.back() + p.sourceTriangles.size());
        pointTotal += p.points.size();
    }
    std::vector<Triangle *> sources;
    sources.reserve(offsets.back());
    for (Polygon const &p : polygons)
        sources.insert(sources.end(), p.sourceTriangles.begin(), p.sourceTriangles.end());
    BSPBuilder builder(tol, PolygonSources{sources.data(), offsets.data()});
    builder.reserve(polygons.size(), pointTotal);
    std::size_t origin = 0;
    for (Polygon const &p : polygons) builder.addInput(p.points.begin(), p.points.end(), origin++);
    Node *root = nullptr;
    if (!buildTree(builder, error, depthLimit, root)) return nullptr;
    std::unique_ptr<Node[]> nodes(root);
    return new BSPTree(nodes.release(), tol, nullptr);
}

BSPTree::BSPTree(BSPTree::Node *root, Tolerance const &tol, Triangulation const *mesh)
    : m_mesh(mesh), m_nodes(root), m_tolerance(std::make_unique<Tolerance>(tol)) {}

BSPTree::~BSPTree() = default;

void BSPTree::release() { delete this; }

BSPTree::Node::~Node() = default;

namespace {

// A child that exists and has a plane; a child without a plane counts as no child.
BSPTree::Node const *liveChild(BSPTree::Node const *child) {
    return child != nullptr && child->plane() != nullptr ? child : nullptr;
}

} // namespace

Plane::_Pos BSPTree::pointPosition(Point3D const &q) const {
    Node const *const root = m_nodes.get();
    if (root == nullptr || root->plane() == nullptr) return Plane::POS_NONE;
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
    Node const *node = root;
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
