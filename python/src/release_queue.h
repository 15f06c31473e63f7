#pragma once
// Releases what a call no longer needs on a background thread, so that the call returns as
// soon as its results are ready and a Mesh that Python drops does not hold the GIL while its
// kernel objects go.
//
// Why: the kernel's meshes are made of a great many small heap objects (an edge with its
// own triangle set per vertex pair, a point per vertex, a map node per edge). Freeing the
// placed mesh of a slicing run takes as long as building it; the command-line tool never
// pays that, as it ends the process instead. Here the freeing overlaps with what the caller
// does next.
//
// Safe to overlap with kernel work on other objects: destroying the kernel's objects touches
// no shared state (only creating an entity reads and increments the shared counter), and
// the allocator is thread-safe. A queued object is never used again by anyone. Jobs run in
// the order they were posted; posting waits while two jobs are already pending, so that the
// memory awaiting release stays bounded. The queue drains at process exit.
#include <memory>
#include <utility>

namespace orvane::python {

// Something to be released: its destructor does the work (and must not touch Python).
class Garbage {
public:
    virtual ~Garbage() = default;
};

// Queues `garbage` for release on the background thread (started on first use).
void releaseLater(std::unique_ptr<Garbage> garbage);

// Waits until everything queued so far has been released.
void drainReleases();

template <class T>
class HeldGarbage final : public Garbage {
public:
    explicit HeldGarbage(T value) : value_(std::move(value)) {}

private:
    T value_;
};

// Queues any movable owner (a unique_ptr, a container of them, a tuple of such).
template <class T>
void releaseLater(T value) {
    releaseLater(std::unique_ptr<Garbage>(new HeldGarbage<T>(std::move(value))));
}

}  // namespace orvane::python
