#include "mesh_export.h"

#include "cli_support.h"
#include "model_io.h"

#include <assimp/Exporter.hpp>
#include <assimp/material.h>
#include <assimp/scene.h>

#include <cmath>
#include <memory>

namespace orvane {

bool isMeshOutput(std::string const &extension) {
    return extension == "stl" || extension == "obj" || extension == "ply";
}

MeshPart partOf(OwnedMesh &mesh, std::string const &name, bool dropDegenerate) {
    MeshPart part;
    part.name = name;
    part.points.reserve(mesh.vertexCount());
    for (std::size_t v = 0; v < mesh.vertexCount(); ++v) {
        odb::Point3D const &p = mesh.point(v);
        part.points.push_back({{p.x(), p.y(), p.z()}});
    }
    for (std::size_t t = 0; t < mesh.triangleCount(); ++t) {
        odb::Triangle &tri = mesh.triangle(t);
        std::size_t a = tri.vertexIndex(0), b = tri.vertexIndex(1), c = tri.vertexIndex(2);
        if (dropDegenerate && (a == b || b == c || c == a)) continue;
        part.triangles.push_back({{a, b, c}});
    }
    return part;
}

std::array<float, 4> partColour(std::size_t index) {
    // Hue steps of the golden angle keep consecutive faces far apart on the colour wheel.
    double h = std::fmod(static_cast<double>(index) * 137.50776405, 360.0) / 60.0;
    double s = 0.65, v = 0.92, c = v * s;
    double x = c * (1 - std::fabs(std::fmod(h, 2.0) - 1));
    double r = 0, g = 0, b = 0;
    switch (static_cast<int>(h)) {
        case 0: r = c, g = x; break;
        case 1: r = x, g = c; break;
        case 2: g = c, b = x; break;
        case 3: g = x, b = c; break;
        case 4: r = x, b = c; break;
        default: r = c, b = x; break;
    }
    double m = v - c;
    return {{static_cast<float>(r + m), static_cast<float>(g + m), static_cast<float>(b + m), 1.0f}};
}

namespace {

// Assimp's scene owns everything hung on it and frees it in its destructor.
std::unique_ptr<aiScene> buildScene(std::vector<MeshPart> const &parts, bool colours) {
    auto scene = std::make_unique<aiScene>();
    scene->mRootNode = new aiNode("root");
    scene->mMaterials = new aiMaterial *[1];
    scene->mMaterials[0] = new aiMaterial();
    scene->mNumMaterials = 1;
    scene->mMeshes = new aiMesh *[parts.size()];
    for (std::size_t i = 0; i < parts.size(); ++i) scene->mMeshes[i] = nullptr;
    scene->mNumMeshes = static_cast<unsigned>(parts.size());
    scene->mRootNode->mChildren = new aiNode *[parts.size()];
    for (std::size_t i = 0; i < parts.size(); ++i) {
        MeshPart const &part = parts[i];
        aiMesh *mesh = new aiMesh();
        scene->mMeshes[i] = mesh;
        mesh->mName = part.name;
        mesh->mMaterialIndex = 0;
        mesh->mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
        mesh->mNumVertices = static_cast<unsigned>(part.points.size());
        mesh->mVertices = new aiVector3D[part.points.size()];
        for (std::size_t v = 0; v < part.points.size(); ++v)
            mesh->mVertices[v] = aiVector3D(static_cast<ai_real>(part.points[v][0]),
                                            static_cast<ai_real>(part.points[v][1]),
                                            static_cast<ai_real>(part.points[v][2]));
        if (colours) {
            mesh->mColors[0] = new aiColor4D[part.points.size()];
            for (std::size_t v = 0; v < part.points.size(); ++v)
                mesh->mColors[0][v] = aiColor4D(part.colour[0], part.colour[1], part.colour[2],
                                                part.colour[3]);
        }
        mesh->mFaces = new aiFace[part.triangles.size()];
        mesh->mNumFaces = static_cast<unsigned>(part.triangles.size());
        for (std::size_t t = 0; t < part.triangles.size(); ++t) {
            aiFace &face = mesh->mFaces[t];
            face.mNumIndices = 3;
            face.mIndices = new unsigned[3];
            for (int k = 0; k < 3; ++k) face.mIndices[k] = static_cast<unsigned>(part.triangles[t][k]);
        }
        aiNode *node = new aiNode(part.name);
        node->mParent = scene->mRootNode;
        node->mMeshes = new unsigned[1];
        node->mMeshes[0] = static_cast<unsigned>(i);
        node->mNumMeshes = 1;
        scene->mRootNode->mChildren[i] = node;
        scene->mRootNode->mNumChildren = static_cast<unsigned>(i + 1);
    }
    return scene;
}

}  // namespace

void writeMesh(std::string const &path, std::vector<MeshPart> const &parts) {
    std::string const ext = extensionOf(path);
    char const *format = ext == "stl"   ? "stlb"
                         : ext == "obj" ? "objnomtl"
                         : ext == "ply" ? "plyb"
                                        : nullptr;
    if (!format)
        throw UsageError("cannot write '" + path + "': unknown mesh type (use .stl, .obj or .ply)");
    std::unique_ptr<aiScene> scene = buildScene(parts, ext == "ply" && parts.size() > 1);
    AtomicFile out(path);
    Assimp::Exporter exporter;
    if (exporter.Export(scene.get(), format, out.tempPath()) != AI_SUCCESS)
        throw std::runtime_error("cannot write '" + path + "': " + exporter.GetErrorString());
    out.commit();
}

}  // namespace orvane
