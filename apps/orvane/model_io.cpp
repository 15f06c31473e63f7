#include "model_io.h"

#include "import_sandbox.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
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
    vertices_.clear();
}

std::size_t OwnedMesh::addVertex(double x, double y, double z) {
    auto point = std::make_unique<odb::Point3D>(x, y, z);
    vertices_.push_back(std::make_unique<odb::Vertex>(point.get()));
    point.release();   // the vertex owns it now
    return mesh_->addVertex(vertices_.back().get());
}

void OwnedMesh::addTriangle(std::size_t a, std::size_t b, std::size_t c) {
    triangles_.push_back(std::make_unique<odb::Triangle>(a, b, c));
    if (a == b || b == c || c == a) ++degenerate_;
    mesh_->addTriangle(triangles_.back().get());
}

std::size_t VertexWelder::add(double x, double y, double z) {
    odb::Point3D probe(x, y, z);
    auto found = index_.find(&probe);
    if (found != index_.end()) return found->second;
    std::size_t v = owner_.addVertex(x, y, z);
    index_.emplace(owner_.mesh().vertexList()[v]->point(), v);
    return v;
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

// A binary STL states its triangle count in its header; Assimp accepts some files whose
// body is shorter than that count says, so the size is checked here.
void checkBinaryStlSize(std::string const &path, std::uintmax_t size) {
    std::ifstream in(path, std::ios::binary);
    char head[84];
    if (!in.read(head, 84)) return;   // too short for binary: Assimp judges it as ASCII
    if (std::string(head, 5) == "solid") return;   // ASCII (or a binary file mimicking it)
    std::uint32_t count = static_cast<unsigned char>(head[80]) |
                          static_cast<unsigned char>(head[81]) << 8 |
                          static_cast<unsigned char>(head[82]) << 16 |
                          static_cast<std::uint32_t>(static_cast<unsigned char>(head[83])) << 24;
    if (84 + 50ull * count > size)
        throw InputError("'" + path + "' is truncated: its header announces " +
                         std::to_string(count) + " triangles but the file holds only " +
                         std::to_string((size - 84) / 50));
}

using Triple = std::array<std::size_t, 3>;

void appendNode(aiScene const &scene, aiNode const &node, aiMatrix4x4 const &parent,
                VertexWelder &welder, std::vector<Triple> &triangles, std::string const &path) {
    aiMatrix4x4 const placement = parent * node.mTransformation;
    constexpr std::size_t unused = std::numeric_limits<std::size_t>::max();
    std::vector<std::size_t> local;
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
                local[v] = welder.add(p.x, p.y, p.z);
            }
            return local[v];
        };
        for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
            aiFace const &face = mesh.mFaces[f];
            if (face.mNumIndices != 3) continue;   // points and lines
            std::size_t a = vertexOf(face.mIndices[0]);
            std::size_t b = vertexOf(face.mIndices[1]);
            std::size_t c = vertexOf(face.mIndices[2]);
            triangles.push_back({{a, b, c}});
        }
    }
    for (unsigned c = 0; c < node.mNumChildren; ++c)
        appendNode(scene, *node.mChildren[c], placement, welder, triangles, path);
}

}  // namespace

bool isModelExtension(std::string const &extension) {
    static const char *const known[] = {"stl", "obj", "ply", "off", "3mf"};
    return std::find(std::begin(known), std::end(known), extension) != std::end(known);
}

std::string modelFormatList() { return "STL, OBJ, PLY, OFF or 3MF"; }

namespace {

// Reads `path` (extension `ext`, lower case) with Assimp into a welded mesh.
std::unique_ptr<OwnedMesh> importWithAssimp(std::string const &path, std::string const &ext) {
    Assimp::Importer importer;
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

    return meshFromScene(*scene, path);
}

}  // namespace

std::unique_ptr<OwnedMesh> loadModel(std::string const &path) {
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
    if (ext == "stl") checkBinaryStlSize(path, size);

    // Assimp runs in a child process: corrupt files can make it crash or loop (see
    // import_sandbox.h), and the tool must answer them with a message.
    return importIsolated([&] { return importWithAssimp(path, ext); }, path,
                          importTimeLimit(size), importMemoryLimit(size));
}

std::unique_ptr<OwnedMesh> meshFromScene(aiScene const &scene, std::string const &source) {
    auto out = std::make_unique<OwnedMesh>();
    VertexWelder welder(*out);
    std::vector<Triple> triangles;
    if (scene.mRootNode) appendNode(scene, *scene.mRootNode, aiMatrix4x4(), welder, triangles, source);
    for (Triple const &t : triangles) out->addTriangle(t[0], t[1], t[2]);
    if (out->triangleCount() == 0) throw InputError("'" + source + "' contains no triangles");
    return out;
}

}  // namespace orvane
