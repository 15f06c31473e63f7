#pragma once
// Model import in a child process, so that a file that makes the importer crash or loop
// becomes an InputError instead of taking the tool down.
//
// Assimp (the Debian build the tool links) is not robust against corrupt files: fuzzing the
// reader found PLY files that make it read past its buffer (SIGSEGV), fail an internal
// assertion (abort) or loop forever. Such faults live in the importer, where the tool cannot
// fix them, so the tool runs the import where they cannot hurt: in a forked child whose
// processor time is limited. The child sends the finished mesh (welded vertices and
// triangle corner indices) or the InputError's message back through a pipe; the parent
// rebuilds the mesh with exactly those vertices and triangles, in the same order.
#include "model_io.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace orvane {

using MeshImport = std::function<std::unique_ptr<OwnedMesh>()>;

// Processor-time limit of an import of a file of `bytes` bytes: 2 s, plus 10 s per MB.
// Importing takes well under a second per MB, so only an importer stuck in a loop reaches it.
unsigned importTimeLimit(std::uintmax_t bytes);

// Runs `import` in a child process limited to `cpuSeconds` of processor time and returns the
// mesh it built. An InputError thrown by `import` is rethrown here with the same message;
// std::bad_alloc and other exceptions become InputError "'<path>' cannot be read: ...". A
// child that dies by a signal (a crash of the importer, or the time limit) or exits without
// answering gives InputError "'<path>' cannot be read: the importer crashed on it" or "...
// did not finish within N s of processor time". The child's standard error is discarded,
// so the importer's own complaints never reach the user. Where processes cannot be forked
// (or a pipe cannot be made), `import` runs in this process.
std::unique_ptr<OwnedMesh> importIsolated(MeshImport const &import, std::string const &path,
                                          unsigned cpuSeconds);

}  // namespace orvane
