// Objects that may have a name, by which the process finds them again.
#pragma once

#include <mutex>

#include "internal/rvclasses_.h"

namespace rv {

class NamedObject : public SysObject {
    Buffer<char16_t> m_name;
    NamedObject* m_pNext = nullptr;

    static std::mutex s_lock;  // guards the list of those that have a name
    static NamedObject* s_pFirst;

    // Under the lock. An object whose last reference has gone is still in the list until it has taken itself out.
    static NamedObject* find(const char16_t* pName) noexcept;
    bool addReference() noexcept;
    bool enter(const char16_t* pName) noexcept;

protected:
    virtual ~NamedObject() = default;

public:
    bool close() noexcept final;

    // What make() gives, a new T or null, under that name; or a reference to the T that has the name.
    template <class T, class Make>
    static SysObject* openOrMake(const char16_t* pName, Make make) noexcept {
        if (!pName || !*pName) return make();
        const std::scoped_lock lock(s_lock);
        if (NamedObject* pFound = find(pName)) {
            if (!dynamic_cast<T*>(pFound)) return nullptr;
            if (pFound->addReference()) return pFound;
        }
        T* pNew = make();
        if (!pNew || pNew->enter(pName)) return pNew;
        delete static_cast<NamedObject*>(pNew);
        return nullptr;
    }
};

}  // namespace rv
