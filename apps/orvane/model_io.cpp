#include "model_io.h"

#include "import_sandbox.h"

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace orvane {

OwnedMesh::OwnedMesh() : mesh_(new odb::Triangulation()) {}

OwnedMesh::~OwnedMesh() {
    // The mesh may still refer to its triangles and vertices while it is destroyed.
    mesh_.reset();
    triangles_.clear();
    for (std::size_t v = 0; v < vertices_.size(); ++v) vertices_[v] = odb::Vertex(nullptr);
    vertices_.clear();
    points_.clear();
}

std::size_t OwnedMesh::addVertex(double x, double y, double z) {
    odb::Point3D &point = points_.emplace(x, y, z);
    odb::Vertex &vertex = vertices_.emplace(&point);
    return mesh_->addVertex(&vertex);
}

void OwnedMesh::addTriangle(std::size_t a, std::size_t b, std::size_t c) {
    odb::Triangle &triangle = triangles_.emplace(a, b, c);
    if (a == b || b == c || c == a) ++degenerate_;
    mesh_->addTriangle(&triangle);
}

std::size_t ModelData::degenerateTriangles() const {
    std::size_t count = 0;
    for (std::size_t i = 0; i + 2 < corners.size(); i += 3)
        if (corners[i] == corners[i + 1] || corners[i + 1] == corners[i + 2] || corners[i + 2] == corners[i])
            ++count;
    return count;
}

std::array<double, 6> ModelData::box() const {
    if (coords.empty()) return {};
    std::array<double, 6> b{{coords[0], coords[1], coords[2], coords[0], coords[1], coords[2]}};
    for (std::size_t i = 0; i < coords.size(); i += 3)
        for (int k = 0; k < 3; ++k) {
            b[k] = std::min(b[k], coords[i + k]);
            b[3 + k] = std::max(b[3 + k], coords[i + k]);
        }
    return b;
}

std::unique_ptr<OwnedMesh> buildMesh(ModelData const &data, Placement const *placement,
                                     ProgressReport const &report) {
    auto out = std::make_unique<OwnedMesh>();
    std::size_t const vertices = data.vertexCount(), triangles = data.triangleCount();
    std::size_t const total = vertices + triangles;
    constexpr std::size_t kReportEvery = 1 << 16;
    for (std::size_t v = 0; v < vertices; ++v) {
        double const *p = &data.coords[3 * v];
        if (placement) {
            std::array<double, 3> const q = placement->apply(p[0], p[1], p[2]);
            out->addVertex(q[0], q[1], q[2]);
        } else {
            out->addVertex(p[0], p[1], p[2]);
        }
        if (report && v % kReportEvery == 0) report(v, total);
    }
    for (std::size_t t = 0; t < triangles; ++t) {
        std::uint32_t const *c = &data.corners[3 * t];
        out->addTriangle(c[0], c[1], c[2]);
        if (report && t % kReportEvery == 0) report(vertices + t, total);
    }
    if (report) report(total, total);
    return out;
}

VertexWelder::VertexWelder(OwnedMesh &owner)
    : owner_(owner), base_(owner.vertexCount()), welder_(coords_) {}

std::size_t VertexWelder::add(double x, double y, double z) {
    std::size_t const known = welder_.vertexCount();
    std::size_t const v = welder_.add(x, y, z);
    if (v == known) owner_.addVertex(x, y, z);
    return base_ + v;
}

namespace {

std::string lowerExtension(std::string const &path) {
    std::string ext = std::filesystem::path(path).extension().string();
    if (!ext.empty() && ext[0] == '.') ext.erase(0, 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

// Assimp's messages sometimes end in a line feed or carry several lines: keep the first.
std::string firstLine(std::string text) {
    auto nl = text.find_first_of("\r\n");
    if (nl != std::string::npos) text.erase(nl);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text.empty() ? std::string("the file could not be read") : text;
}

// The first bytes of a file (up to 512).
std::string fileHead(std::string const &path) {
    std::ifstream in(path, std::ios::binary);
    std::string head(512, '\0');
    in.read(&head[0], static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(in.gcount()));
    return head;
}

bool looksLikeText(std::string const &head) {
    return !head.empty() && std::all_of(head.begin(), head.end(), [](char c) {
        unsigned char const u = static_cast<unsigned char>(c);
        return u == '\n' || u == '\r' || u == '\t' || (u >= 0x20 && u < 0x7f) || u >= 0x80;
    });
}

// The model format a file's content shows ("stl", "ply", "off", "obj", "3mf"), or "" when it
// shows none: for telling a user that a file's name and content disagree.
std::string formatOfContent(std::string const &path, std::uintmax_t size) {
    std::string const head = fileHead(path);
    std::size_t const start = head.find_first_not_of(" \t\r\n");
    std::string const text = start == std::string::npos ? std::string() : head.substr(start);
    auto begins = [&](char const *word) { return text.rfind(word, 0) == 0; };
    if (head.rfind("PK\x03\x04", 0) == 0) return "3mf";
    if (begins("ply") && text.size() > 3 && std::isspace(static_cast<unsigned char>(text[3]))) return "ply";
    if (begins("solid")) return "stl";
    if (size >= 84 && head.size() >= 84) {
        std::uint32_t const count = static_cast<unsigned char>(head[80]) | static_cast<unsigned char>(head[81]) << 8 |
                                    static_cast<unsigned char>(head[82]) << 16 |
                                    static_cast<std::uint32_t>(static_cast<unsigned char>(head[83])) << 24;
        if (84 + 50ull * count == size) return "stl";
    }
    if (!looksLikeText(head)) return "";
    std::string const word = text.substr(0, text.find_first_of(" \t\r\n"));
    if (word.size() >= 3 && word.size() <= 5 && word.compare(word.size() - 3, 3, "OFF") == 0) return "off";
    // OBJ: statements such as "v 1 2 3", "f 1 2 3", "o name", "g name", "# comment".
    for (char const *statement : {"v ", "vn ", "vt ", "f ", "o ", "g ", "mtllib ", "usemtl ", "#"})
        if (begins(statement)) return "obj";
    return "";
}

// "an OFF file", "a 3MF archive": for messages.
std::string describeFormat(std::string const &ext) {
    if (ext == "3mf") return "a 3MF archive";
    std::string upper = ext;
    for (char &c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    bool const vowel = ext == "obj" || ext == "off";
    return std::string(vowel ? "an " : "a ") + upper + " file";
}

// A binary STL states its triangle count in its header; Assimp accepts some files whose
// body is shorter than that count says, so the size is checked here. A file that is neither
// that nor text beginning with "solid" is no STL at all.
void checkStl(std::string const &path, std::uintmax_t size) {
    std::string const head = fileHead(path);
    if (head.rfind("solid", 0) == 0) return;   // ASCII (or a binary file mimicking it)
    std::string const content = formatOfContent(path, size);
    if (content != "stl" && !content.empty())
        throw InputError("'" + path + "' is not an STL file: its content looks like " + describeFormat(content) +
                         " (rename it to ." + content + ")");
    if (size < 84 || looksLikeText(head))
        throw InputError("'" + path + "' is not an STL file: it is neither a binary STL nor text beginning with 'solid'");
    std::uint32_t count = static_cast<unsigned char>(head[80]) | static_cast<unsigned char>(head[81]) << 8 |
                          static_cast<unsigned char>(head[82]) << 16 |
                          static_cast<std::uint32_t>(static_cast<unsigned char>(head[83])) << 24;
    if (84 + 50ull * count > size)
        throw InputError("'" + path + "' is truncated: its header announces " +
                         std::to_string(count) + " triangles but the file holds only " +
                         std::to_string((size - 84) / 50));
}

// The triangle count of a binary STL file, or 0 when the file is not one. The rule is the
// importer's: binary exactly when the size is 84 bytes plus 50 per announced triangle
// (whatever the header says, "solid" included).
std::uint32_t binaryStlTriangles(std::string const &path, std::uintmax_t size) {
    std::ifstream in(path, std::ios::binary);
    unsigned char head[84];
    if (size < 84 || !in.read(reinterpret_cast<char *>(head), 84)) return 0;
    std::uint32_t const count = head[80] | head[81] << 8 | head[82] << 16 | std::uint32_t(head[83]) << 24;
    return 84 + 50ull * count == size ? count : 0;
}

bool isBinaryStl(std::string const &path, std::uintmax_t size) {
    // Records are read as little-endian floats in place; other machines go through Assimp.
    std::uint32_t const one = 1;
    unsigned char first;
    std::memcpy(&first, &one, 1);
    return first == 1 && binaryStlTriangles(path, size) > 0;
}

// Reads a binary STL in this process, streaming its 50-byte records into the welder: the
// format is fixed-size and every read is checked, so the importer's child process (and its
// copy of the whole file) is not needed. The result is exactly what the Assimp path gives:
// the same float coordinates, through the same identity node transform, welded in the same
// corner order.
ModelData readBinaryStl(std::string const &path, ImportReport const &report) {
    std::uint32_t const triangles = binaryStlTriangles(path, std::filesystem::file_size(path));
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file || std::fseek(file.get(), 84, SEEK_SET) != 0)
        throw InputError("'" + path + "' cannot be opened for reading");
    ModelData out;
    PointWelder welder(out.coords);
    welder.reserve(triangles / 2 + 16);   // a closed mesh has about half as many vertices
    out.corners.reserve(3 * std::size_t(triangles));
    aiMatrix4x4 const identity;   // the root node's transform in the importer's scene
    constexpr std::size_t kChunk = 8192;
    std::vector<unsigned char> buffer(50 * kChunk);
    std::vector<double> corners(9 * kChunk);
    for (std::size_t done = 0; done < triangles;) {
        std::size_t const n = std::min<std::size_t>(kChunk, triangles - done);
        if (std::fread(buffer.data(), 50, n, file.get()) != n)
            throw InputError("'" + path + "' cannot be read: it ended early");
        for (std::size_t r = 0; r < n; ++r) {
            unsigned char const *record = buffer.data() + 50 * r + 12;   // after the normal
            for (int c = 0; c < 3; ++c) {
                float xyz[3];
                std::memcpy(xyz, record + 12 * c, sizeof xyz);
                aiVector3D const p = identity * aiVector3D(xyz[0], xyz[1], xyz[2]);
                if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z))
                    throw InputError("'" + path + "' has a vertex with a non-finite coordinate");
                double *q = &corners[3 * (3 * r + c)];
                q[0] = p.x, q[1] = p.y, q[2] = p.z;
            }
        }
        std::size_t const first = out.corners.size();
        out.corners.resize(first + 3 * n);
        welder.addAll(corners.data(), 3 * n, out.corners.data() + first);
        done += n;
        if (report) report(ImportStage::Reading, done, triangles);
    }
    return out;
}

// Walks the scene's nodes from the root, welding the corners of every triangle in the order
// the file gives them.
struct SceneWelder {
    aiScene const &scene;
    std::string const &path;
    PointWelder &welder;
    ModelData &out;
    ImportReport const &report;
    std::size_t cornersDone = 0;
    std::size_t cornersTotal = 0;
    void appendNode(aiNode const &node, aiMatrix4x4 const &parent);
};

// Corners the scene's nodes will ask for (meshes used by several nodes count each time).
std::size_t countCorners(aiScene const &scene, aiNode const &node) {
    std::size_t n = 0;
    for (unsigned m = 0; m < node.mNumMeshes; ++m) n += 3 * std::size_t(scene.mMeshes[node.mMeshes[m]]->mNumFaces);
    for (unsigned c = 0; c < node.mNumChildren; ++c) n += countCorners(scene, *node.mChildren[c]);
    return n;
}

void SceneWelder::appendNode(aiNode const &node, aiMatrix4x4 const &parent) {
    aiMatrix4x4 const placement = parent * node.mTransformation;
    constexpr std::uint32_t unused = std::numeric_limits<std::uint32_t>::max();
    std::vector<std::uint32_t> local;
    for (unsigned m = 0; m < node.mNumMeshes; ++m) {
        aiMesh const &mesh = *scene.mMeshes[node.mMeshes[m]];
        // Vertices are welded when a triangle first uses them, so that stray points of the
        // file neither widen the box nor become vertices without triangles.
        local.assign(mesh.mNumVertices, unused);
        auto vertexOf = [&](unsigned v) {
            if (v >= mesh.mNumVertices)
                throw InputError("'" + path + "' has a face with a vertex index out of range");
            if (local[v] == unused) {
                aiVector3D const p = placement * mesh.mVertices[v];
                if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z))
                    throw InputError("'" + path + "' has a vertex with a non-finite coordinate");
                try {
                    local[v] = welder.add(p.x, p.y, p.z);
                } catch (std::length_error const &) {
                    throw InputError("'" + path + "' has more vertices than the tool can hold");
                }
            }
            return local[v];
        };
        for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
            aiFace const &face = mesh.mFaces[f];
            cornersDone += 3;
            if (report && f % 65536 == 0) report(ImportStage::Welding, cornersDone, cornersTotal);
            if (face.mNumIndices != 3) continue;   // points and lines
            std::uint32_t const a = vertexOf(face.mIndices[0]);
            std::uint32_t const b = vertexOf(face.mIndices[1]);
            std::uint32_t const c = vertexOf(face.mIndices[2]);
            out.corners.insert(out.corners.end(), {a, b, c});
        }
    }
    for (unsigned c = 0; c < node.mNumChildren; ++c) appendNode(*node.mChildren[c], placement);
}

}  // namespace

bool isModelExtension(std::string const &extension) {
    static const char *const known[] = {"stl", "obj", "ply", "off", "3mf"};
    return std::find(std::begin(known), std::end(known), extension) != std::end(known);
}

std::string modelFormatList() { return "STL, OBJ, PLY, OFF or 3MF"; }

namespace {

// Passes Assimp's reading progress on, as permille of the file.
class ReadingProgress final : public Assimp::ProgressHandler {
public:
    explicit ReadingProgress(ImportReport const &report) : report_(report) {}
    bool Update(float percentage) override {
        if (report_ && percentage >= 0)
            report_(ImportStage::Reading, static_cast<std::size_t>(std::min(percentage, 1.0f) * 1000), 1000);
        return true;   // never cancel
    }

private:
    ImportReport const &report_;
};

// Reads `path` (extension `ext`, lower case) with Assimp into a welded model.
ModelData importWithAssimp(std::string const &path, std::string const &ext, ImportReport const &report) {
    Assimp::Importer importer;
    importer.SetProgressHandler(new ReadingProgress(report));   // the importer owns it
    // Points and lines are dropped by the importer itself; polygons become triangles.
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    aiScene const *scene = importer.ReadFile(
        path, aiProcess_Triangulate | aiProcess_SortByPType | aiProcess_ValidateDataStructure);
    if (!scene || (scene->mFlags & AI_SCENE_FLAGS_INCOMPLETE) || !scene->mRootNode) {
        std::string why = firstLine(importer.GetErrorString());
        // The validator's and the primitive sorter's ways of saying that nothing was left.
        for (char const *nothing : {"mNumMeshes is 0", "contains no faces", "No meshes remaining"})
            if (why.find(nothing) != std::string::npos)
                throw InputError("'" + path + "' contains no triangles");
        if (ext == "3mf" && why.find("Failed to open") != std::string::npos)
            throw InputError("'" + path + "' cannot be read: not a valid 3MF (zip) archive");
        // Assimp catches std::bad_alloc and reports its what() as the error.
        if (why.find("bad_alloc") != std::string::npos)
            throw InputError("'" + path + "' cannot be read: not enough memory for it");
        if (why.rfind("Validation failed", 0) == 0)   // the importer's own consistency check
            throw InputError("'" + path + "' is corrupt or truncated (" + why + ")");
        throw InputError("'" + path + "' cannot be read: " + why);
    }

    return modelFromScene(*scene, path, report);
}

}  // namespace

ModelData readModel(std::string const &path, ImportReport const &report) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::file_status status = fs::status(path, ec);
    if (!fs::exists(status)) throw InputError("'" + path + "': no such file");
    if (fs::is_directory(status)) throw InputError("'" + path + "' is a folder, not a model file");
    std::string const ext = lowerExtension(path);
    if (!isModelExtension(ext))
        throw InputError("'" + path + "': unknown model format" +
                         (ext.empty() ? std::string() : " '." + ext + "'") + " (expected " +
                         modelFormatList() + ")");
    std::ifstream probe(path, std::ios::binary);
    if (!probe) throw InputError("'" + path + "' cannot be opened for reading");
    std::uintmax_t size = fs::file_size(path, ec);
    if (ec || size == 0) throw InputError("'" + path + "' is empty");
    if (ext == "stl") {
        checkStl(path, size);
        if (isBinaryStl(path, size)) return readBinaryStl(path, report);
    }

    // Assimp runs in a child process: corrupt files can make it crash or loop (see
    // import_sandbox.h), and the tool must answer them with a message.
    try {
        return importIsolated([&](ImportReport const &childReport) { return importWithAssimp(path, ext, childReport); },
                              path, importTimeLimit(size), importMemoryLimit(size), report);
    } catch (InputError const &e) {
        // The importer goes by the name: say so when the content is another format's.
        std::string const content = formatOfContent(path, size);
        if (content.empty() || content == ext) throw;
        throw InputError(std::string(e.what()) + "; its content looks like " + describeFormat(content) + ", not " +
                         describeFormat(ext) + " (rename it to ." + content + ")");
    }
}

std::unique_ptr<OwnedMesh> loadModel(std::string const &path) { return buildMesh(readModel(path)); }

ModelData modelFromScene(aiScene const &scene, std::string const &source, ImportReport const &report) {
    ModelData out;
    PointWelder welder(out.coords);
    SceneWelder walk{scene, source, welder, out, report};
    if (scene.mRootNode) {
        walk.cornersTotal = countCorners(scene, *scene.mRootNode);
        // STL repeats every corner about six times: the distinct points are far fewer.
        welder.reserve(walk.cornersTotal / 5 + 16);
        out.corners.reserve(walk.cornersTotal);
        walk.appendNode(*scene.mRootNode, aiMatrix4x4());
    }
    if (report) report(ImportStage::Welding, walk.cornersTotal, walk.cornersTotal);
    if (out.triangleCount() == 0) throw InputError("'" + source + "' contains no triangles");
    return out;
}

}  // namespace orvane
