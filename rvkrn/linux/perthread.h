// A value of each thread, made when it is first wanted and destroyed with the thread. Unlike a thread_local with a
// destructor it can tell that memory is short, and it doesn't keep the library loaded.
#pragma once

#include <pthread.h>

#include <new>
#include <utility>

namespace rv {

template <class T>
class PerThread {
    pthread_key_t m_key{};
    bool m_bKey;

    static void destroy(void* p) noexcept { delete static_cast<T*>(p); }

public:
    PerThread() noexcept : m_bKey(pthread_key_create(&m_key, destroy) == 0) {}
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;
    ~PerThread() {
        if (!std::exchange(m_bKey, false)) return;
        destroy(pthread_getspecific(m_key));
        pthread_key_delete(m_key);
    }

    // This thread's value; null when memory is short.
    T* get() noexcept {
        if (!m_bKey) return nullptr;
        if (void* p = pthread_getspecific(m_key)) return static_cast<T*>(p);
        T* pNew = new (std::nothrow) T;
        if (!pNew || pthread_setspecific(m_key, pNew) == 0) return pNew;
        delete pNew;
        return nullptr;
    }
};

}  // namespace rv
