// mime/MIMESEM.cpp - mutexes between threads and, with a name, between processes
#include "mime/MIMESEM.hpp"

#include "mime/foundation/owned_text.hpp"
#include "mime/foundation/trace_site.hpp"
#include "mime/platform/platform.hpp"

namespace platform = vellum::platform;

namespace {

constexpr vellum::TraceSite site(unsigned long line) {
    return {vellum::trace_failure, "mime/MIMESEM", line};
}

} // namespace

TMimeMutexSemaphore::TMimeMutexSemaphore(char const * name) : name_(vellum::copy_text(name)) {
    handle_ = platform::Mutex::create(name);
    if (handle_) return;
    vellum::trace(site(__LINE__), "Error %d from CreateMutex(%s)", platform::last_error(),
                  shown_name());
}

TMimeMutexSemaphore::~TMimeMutexSemaphore() {
    if (!handle_ || handle_->close()) return;
    vellum::trace(site(__LINE__), "Error %d from CloseHandle(%s)", platform::last_error(),
                  shown_name());
}

char const * TMimeMutexSemaphore::shown_name() const { return name_ ? name_.get() : "unnamed"; }

TMimeMutexSemaphore::EState TMimeMutexSemaphore::Lock(long timeout) {
    if (!handle_) return Failed;
    switch (handle_->lock(timeout)) {
    case platform::Wait::held: return Held;
    case platform::Wait::timed_out: return TimedOut;
    case platform::Wait::failed: break;
    }
    return Failed;
}

void TMimeMutexSemaphore::Unlock() {
    if (handle_) handle_->unlock();
}

TMimeMutexSemaphoreEntry::TMimeMutexSemaphoreEntry(TMimeMutexSemaphore & semaphore, long timeout)
    : state_(semaphore.Lock(timeout)), semaphore_(&semaphore) {}

TMimeMutexSemaphoreEntry::~TMimeMutexSemaphoreEntry() {
    if (state_ == TMimeMutexSemaphore::Held) semaphore_->Unlock();
}
