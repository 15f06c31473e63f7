#pragma once
// Model import in a child process, so that a file that makes the importer crash or loop
// becomes an InputError instead of taking the tool down.
//
// Assimp (the Debian build the tool links) is not robust against corrupt files: fuzzing the
// reader found PLY files that make it read past its buffer (SIGSEGV), fail an internal
// assertion (abort) or loop forever. Such faults live in the importer, where the tool cannot
// fix them, so the tool runs the import where they cannot hurt: in a forked child whose
// processor time and address space are limited. The child sends the finished mesh (welded
// vertices and triangle corner indices, as flat arrays) or the InputError's message back
// through a pipe, preceded by progress reports that the parent passes on.
#include "model_io.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace orvane {

// The import: runs in the child and may report its progress through the report it is given.
using ModelImport = std::function<ModelData(ImportReport const &)>;

// Processor-time limit of an import of a file of `bytes` bytes: 2 s, plus 10 s per MB.
// Importing takes well under a second per MB, so only an importer stuck in a loop reaches it.
unsigned importTimeLimit(std::uintmax_t bytes);

// Memory the import of a file of `bytes` bytes may take on top of what the process already
// has: 4 GiB, plus 16 times the file size. Real files need a few times their size; a corrupt
// header can make the importer ask for tens of gigabytes, which this turns into a refusal.
std::uint64_t importMemoryLimit(std::uintmax_t bytes);

// Whether importIsolated can cap the child's memory in this process: not where a sanitizer
// runtime is present (its shadow memory needs terabytes of address space) or processes
// cannot be forked.
bool importMemoryCapAvailable();

// Runs `import` in a child process limited to `cpuSeconds` of processor time and
// `memoryBytes` more address space than the process had, and returns the model it built.
// Progress the import reports in the child reaches `report` here (when given), at most
// every 100 ms.
// The memory limit is not applied where a sanitizer runtime is present (sanitizers reserve
// terabytes of address space for their shadow memory) or where the system cannot tell how
// much address space the process uses; 0 means no memory limit.
//
// An InputError thrown by `import` is rethrown here with the same message; std::bad_alloc
// becomes InputError "'<path>' cannot be read: not enough memory for it", other exceptions
// InputError "'<path>' cannot be read: ...". A child that dies by a signal (a crash of the
// importer, or the time limit) or exits without answering gives InputError "'<path>' cannot
// be read: the importer crashed on it", "... failed on it" or "... did not finish within N s
// of processor time". The child's standard error is discarded, so the importer's own
// complaints never reach the user, and a sanitizer death callback that the host set (a
// fuzzer's crash recorder) does not run in the child. Where processes cannot be forked (or a
// pipe cannot be made), `import` runs in this process.
ModelData importIsolated(ModelImport const &import, std::string const &path, unsigned cpuSeconds,
                         std::uint64_t memoryBytes = 0, ImportReport const &report = {});

}  // namespace orvane
