#pragma once

#include <QMutex>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

/**
 * Holds a mutex for a scope.
 *
 * Beyond QMutexLocker it tells ThreadSanitizer about the lock, whose working lies in a Qt library that is
 * built without it; so races and inverted lock orders are found.
 */
class VrelMutexLocker
{
public:
    explicit VrelMutexLocker(QMutex& mutex)
        : m_mutex(mutex)
    {
#if defined(__SANITIZE_THREAD__)
        __tsan_mutex_pre_lock(&m_mutex, 0);
#endif
        m_mutex.lock();
#if defined(__SANITIZE_THREAD__)
        __tsan_mutex_post_lock(&m_mutex, 0, 0);
#endif
    }

    ~VrelMutexLocker()
    {
#if defined(__SANITIZE_THREAD__)
        __tsan_mutex_pre_unlock(&m_mutex, 0);
#endif
        m_mutex.unlock();
#if defined(__SANITIZE_THREAD__)
        __tsan_mutex_post_unlock(&m_mutex, 0);
#endif
    }

    VrelMutexLocker(VrelMutexLocker const&) = delete;
    VrelMutexLocker& operator=(VrelMutexLocker const&) = delete;

private:
    QMutex& m_mutex;
};
