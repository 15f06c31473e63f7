#include "segmentation/FaceGrowing.h"

#include "Triangulation.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace ORVANE_DATABASE {

namespace {

using Rank = FaceGraph::Rank;

class Grower {
public:
    Grower(Triangulation const &mesh, FaceGraph &graph)
        : m_list(mesh.triangleList()), m_graph(graph), m_remaining(graph.size()) {
        m_queue.reserve(graph.size());
    }

    GrownFaces run() {
        std::vector<std::size_t> sizes;
        while (m_remaining != 0) {
            Rank const seed = nextSeed();
            if (seed == FaceGraph::kNone) break;   // not reached: unassigned triangles are listed
            grow(seed);
            sizes.push_back(m_queue.size());
        }
        return bucket(sizes);
    }

private:
    bool unassigned(Rank r) const { return r != FaceGraph::kNone && m_graph.face(r) == 0; }

    Rank nextSeed() {
        std::vector<FaceGraph::StrongEdge> const &strong = m_graph.strongEdges();
        for (; m_strongCursor < strong.size(); ++m_strongCursor) {
            FaceGraph::StrongEdge const &s = strong[m_strongCursor];
            if (unassigned(s.first)) return s.first;
            if (unassigned(s.second)) return s.second;
        }
        for (; m_listCursor < m_list.size(); ++m_listCursor) {
            Rank const r = m_graph.rankOf(m_list[m_listCursor]);
            if (unassigned(r)) return r;
        }
        return FaceGraph::kNone;
    }

    void grow(Rank seed) {
        ++m_face;
        m_queue.assign(1, seed);
        join(seed);
        for (std::size_t i = 0; i < m_queue.size(); ++i)
            for (int slot = 0; slot < 3; ++slot) {
                Rank const n = m_graph.across(m_queue[i], slot);
                if (n != FaceGraph::kNone && m_graph.face(n) != m_face) {
                    m_queue.push_back(n);
                    join(n);
                }
            }
    }

    void join(Rank r) {
        std::uint32_t const earlier = m_graph.face(r);
        if (earlier == 0)
            --m_remaining;
        else
            m_alsoIn.emplace_back(earlier, r);   // it stays a member of that earlier face too
        m_graph.setFace(r, m_face);
    }

    // Each face's ranks in ascending order: a counting pass over all ranks by face number,
    // then the earlier memberships of re-joined triangles, whose faces are sorted again.
    GrownFaces bucket(std::vector<std::size_t> const &sizes) {
        GrownFaces faces;
        faces.first.assign(sizes.size() + 1, 0);
        for (std::size_t f = 0; f < sizes.size(); ++f) faces.first[f + 1] = faces.first[f] + sizes[f];
        faces.ranks.resize(faces.first.back());
        std::vector<std::size_t> next(faces.first.begin(), faces.first.end() - 1);
        for (Rank r = 0; r < m_graph.size(); ++r) {
            std::uint32_t const f = m_graph.face(r);
            if (f != 0) faces.ranks[next[f - 1]++] = r;
        }
        if (!m_alsoIn.empty()) {
            std::vector<std::uint32_t> touched;
            for (auto const &member : m_alsoIn) {
                faces.ranks[next[member.first - 1]++] = member.second;
                touched.push_back(member.first);
            }
            std::sort(touched.begin(), touched.end());
            touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
            for (std::uint32_t f : touched)
                std::sort(faces.ranks.begin() + static_cast<std::ptrdiff_t>(faces.first[f - 1]),
                          faces.ranks.begin() + static_cast<std::ptrdiff_t>(faces.first[f]));
        }
        return faces;
    }

    std::vector<Triangle *> const &m_list;
    FaceGraph &m_graph;
    std::size_t m_remaining;
    std::size_t m_strongCursor = 0, m_listCursor = 0;
    std::uint32_t m_face = 0;   // the face being grown, numbered from 1
    std::vector<Rank> m_queue;
    std::vector<std::pair<std::uint32_t, Rank>> m_alsoIn;   // (earlier face, triangle)
};

}  // namespace

GrownFaces growFaces(Triangulation const &mesh, FaceGraph &graph) { return Grower(mesh, graph).run(); }

}  // namespace ORVANE_DATABASE
