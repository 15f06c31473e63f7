#pragma once
// How the module runs kernel work: without the GIL, one call at a time.
//
// The kernel takes no locks: it numbers every entity it creates from one unguarded counter,
// and a mesh or an algorithm object must not be used from two threads at once. The module
// releases the GIL during long computations so that other Python threads go on meanwhile,
// and serialises the kernel work itself with one process-wide lock. The lock is only ever
// taken after the GIL has been released, never the other way round, so that a callback
// that needs the GIL while the lock is held (the voxelizer's progress) cannot deadlock with a
// thread that waits for the lock.
//
// Inside a KernelWork scope no Python object may be created, changed or released.
#include <pybind11/pybind11.h>

#include <mutex>

namespace orvane::python {

std::mutex &kernelLock();

class KernelWork {
public:
    KernelWork() : lock_(kernelLock()) {}
    KernelWork(KernelWork const &) = delete;
    KernelWork &operator=(KernelWork const &) = delete;

private:
    pybind11::gil_scoped_release release_;   // first in, last out: the GIL comes back after unlocking
    std::unique_lock<std::mutex> lock_;
};

}  // namespace orvane::python
