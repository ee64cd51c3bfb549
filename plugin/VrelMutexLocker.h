#pragma once

#include <QMutex>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

/**
 * @file
 * Locks that ThreadSanitizer is told about, so that it finds races and inverted lock orders: their working
 * lies in a Qt library that is built without it.
 */

inline void vrelLock(QMutex& mutex)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_pre_lock(&mutex, 0);
#endif
    mutex.lock();
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_post_lock(&mutex, 0, 0);
#endif
}

inline void vrelUnlock(QMutex& mutex)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_pre_unlock(&mutex, 0);
#endif
    mutex.unlock();
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_post_unlock(&mutex, 0);
#endif
}

/** Holds a mutex for a scope. */
class VrelMutexLocker
{
public:
    explicit VrelMutexLocker(QMutex& mutex)
        : m_mutex(mutex)
    {
        vrelLock(m_mutex);
    }

    ~VrelMutexLocker() { vrelUnlock(m_mutex); }

    VrelMutexLocker(VrelMutexLocker const&) = delete;
    VrelMutexLocker& operator=(VrelMutexLocker const&) = delete;

private:
    QMutex& m_mutex;
};
