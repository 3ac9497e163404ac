// src/platform/posix/lock.cpp: platform (POSIX). ReentrantLock over a recursive pthread mutex.
#include "platform/lock.h"

#include <pthread.h>

#include <new>

namespace vnr::platform {

static_assert(sizeof(pthread_mutex_t) <= 64 && alignof(pthread_mutex_t) <= 16, "the mutex must fit the lock's storage");

namespace {
pthread_mutex_t* mutex_of(unsigned char* storage) { return std::launder(reinterpret_cast<pthread_mutex_t*>(storage)); }
}  // namespace

ReentrantLock::ReentrantLock() noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (storage_) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

ReentrantLock::~ReentrantLock() { pthread_mutex_destroy(mutex_of(storage_)); }

void ReentrantLock::enter() noexcept { pthread_mutex_lock(mutex_of(storage_)); }

void ReentrantLock::leave() noexcept { pthread_mutex_unlock(mutex_of(storage_)); }

}  // namespace vnr::platform
