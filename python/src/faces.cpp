#include "faces.h"

#include "arrays.h"
#include "face_split.h"
#include "kernel_work.h"
#include "release_queue.h"

#include "Outcome.h"
#include "PLC.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <stdexcept>
#include <string>

namespace orvane::python {

namespace odb = ORVANE_DATABASE;

py::tuple segmentMesh(Mesh &mesh, py::handle angle) {
    double const a = finiteNumber(angle, "angle", false);
    if (a < 0 || a > 180) throw py::value_error("angle must lie between 0 and 180 degrees, got " + std::to_string(a));
    FaceSplit split;
    {
        KernelWork work;
        split = splitFaces(mesh.kernelMesh(), a);
        releaseLater(std::move(split.kernelFaces));
    }
    py::list faces;
    for (ModelData &data : split.faces) faces.append(py::cast(std::make_unique<Mesh>(std::move(data))));
    py::array_t<std::int64_t> faceOf(static_cast<py::ssize_t>(split.faceOf.size()));
    std::copy(split.faceOf.begin(), split.faceOf.end(), faceOf.mutable_data());
    return py::make_tuple(faces, faceOf);
}

py::list meshBoundaries(Mesh &mesh) {
    std::vector<ContourData> borders;
    {
        KernelWork work;
        ContourList contours;
        odb::Segmentation segmentation(&mesh.kernelMesh().mesh(), 30);
        segmentation.boundaries(contours.items);   // "No boundry found.": a closed mesh, no contour
        for (odb::PLC *plc : contours.items) borders.push_back(contourData(*plc));
    }
    py::list out;
    for (ContourData const &c : borders) out.append(contourPoints(c));
    return out;
}

}  // namespace orvane::python
