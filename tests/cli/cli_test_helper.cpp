// Helper of the orvane end-to-end tests: `cli_test_helper models DIR` writes the test models
// in every input format, and broken files, into DIR.
#include <assimp/Exporter.hpp>
#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Model {
    std::vector<aiVector3D> points;
    std::vector<std::array<unsigned, 3>> triangles;
    void box(float x0, float y0, float z0, float x1, float y1, float z1) {
        unsigned base = static_cast<unsigned>(points.size());
        for (int q = 0; q < 8; ++q)
            points.emplace_back(q & 1 ? x1 : x0, q & 2 ? y1 : y0, q & 4 ? z1 : z0);
        static const unsigned faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6},
                                              {0, 1, 4}, {1, 5, 4}, {2, 6, 3}, {3, 6, 7},
                                              {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
        for (auto const &f : faces) triangles.push_back({{base + f[0], base + f[1], base + f[2]}});
    }
};

// Two boxes side by side: every layer cuts two contours.
Model twoBoxes() {
    Model m;
    m.box(-3, -1, -1, -1, 1, 1);
    m.box(1, -1, -1, 3, 1, 1);
    return m;
}

void exportModel(Model const &m, char const *format, std::string const &path) {
    aiScene scene;
    scene.mRootNode = new aiNode("root");
    scene.mMaterials = new aiMaterial *[1]{new aiMaterial()};
    scene.mNumMaterials = 1;
    scene.mMeshes = new aiMesh *[1]{new aiMesh()};
    scene.mNumMeshes = 1;
    aiMesh &mesh = *scene.mMeshes[0];
    mesh.mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
    mesh.mNumVertices = static_cast<unsigned>(m.points.size());
    mesh.mVertices = new aiVector3D[m.points.size()];
    std::copy(m.points.begin(), m.points.end(), mesh.mVertices);
    mesh.mNumFaces = static_cast<unsigned>(m.triangles.size());
    mesh.mFaces = new aiFace[m.triangles.size()];
    for (std::size_t t = 0; t < m.triangles.size(); ++t) {
        mesh.mFaces[t].mNumIndices = 3;
        mesh.mFaces[t].mIndices = new unsigned[3]{m.triangles[t][0], m.triangles[t][1], m.triangles[t][2]};
    }
    // Under a child node: the 3MF exporter writes the root's children only.
    aiNode *node = new aiNode("boxes");
    node->mParent = scene.mRootNode;
    node->mMeshes = new unsigned[1]{0};
    node->mNumMeshes = 1;
    scene.mRootNode->mChildren = new aiNode *[1]{node};
    scene.mRootNode->mNumChildren = 1;
    Assimp::Exporter exporter;
    if (exporter.Export(&scene, format, path) != AI_SUCCESS)
        throw std::runtime_error(std::string("export failed: ") + exporter.GetErrorString());
}

void writeOff(Model const &m, std::string const &path) {
    std::ofstream out(path);
    out << "OFF\n" << m.points.size() << " " << m.triangles.size() << " 0\n";
    for (aiVector3D const &p : m.points) out << p.x << " " << p.y << " " << p.z << "\n";
    for (auto const &t : m.triangles) out << "3 " << t[0] << " " << t[1] << " " << t[2] << "\n";
}

void writeText(std::string const &path, std::string const &text) {
    std::ofstream(path, std::ios::binary) << text;
}

int models(std::string const &dir) {
    Model m = twoBoxes();
    exportModel(m, "stl", dir + "/boxes-ascii.stl");
    exportModel(m, "stlb", dir + "/boxes-binary.stl");
    exportModel(m, "objnomtl", dir + "/boxes.obj");
    exportModel(m, "ply", dir + "/boxes.ply");
    exportModel(m, "3mf", dir + "/boxes.3mf");
    writeOff(m, dir + "/boxes.off");
    // An open square of two triangles: one border contour.
    writeText(dir + "/square.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3\nf 1 3 4\n");

    // Broken inputs.
    std::ifstream binary(dir + "/boxes-binary.stl", std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(binary)), std::istreambuf_iterator<char>());
    writeText(dir + "/truncated.stl", bytes.substr(0, bytes.size() - 70));
    writeText(dir + "/corrupt.obj", "this is not\x01\x02 a model\n");
    writeText(dir + "/corrupt.3mf", "PK\x03\x04 not really a zip archive");
    writeText(dir + "/empty-mesh.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    writeText(dir + "/empty-file.stl", "");
    writeText(dir + "/nan.stl",
              "solid x\nfacet normal 0 0 1\nouter loop\nvertex nan 0 0\nvertex 1 0 0\n"
              "vertex 0 1 0\nendloop\nendfacet\nendsolid x\n");
    writeText(dir + "/model.xyz", "1 2 3\n");
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        std::string what = argc > 1 ? argv[1] : "";
        if (what == "models" && argc == 3) return models(argv[2]);
    } catch (std::exception const &e) {
        std::cerr << "cli_test_helper: " << e.what() << "\n";
        return 1;
    }
    std::cerr << "usage: cli_test_helper models DIR\n";
    return 2;
}
