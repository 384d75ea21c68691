// Modules that the process shares.
#include <memory>
#include <mutex>

#include "internal/modules_.h"
#include "internal/rvclasses_.h"

namespace rv {
namespace {

LazyLock g_moduleLock;

}  // namespace

int32_t SharedModule::acquire(int32_t nLibId, int32_t nFormat, std::initializer_list<const char*> names) noexcept {
    const auto share = [this](std::unique_ptr<R_DllLoader>& rLoaded) {
        const std::scoped_lock lock(g_moduleLock);
        if (m_pLoader)
            m_pLoader->Load();
        else
            m_pLoader = rLoaded.release();
        return m_pLoader != nullptr;
    };
    std::unique_ptr<R_DllLoader> loader;
    if (share(loader)) return 1;

    loader.reset(new (std::nothrow) R_DllLoader);
    if (!loader) return -1;
    if (!loader->LoadLib(nLibId, nFormat, nullptr))
        return loader->IsSystemOutOfMemory() ? -1 : loader->GetErrorIfMissing();
    for (const char* pName : names)
        if (const int32_t n = loader->AddFunction(pName, ADDFUNCTION_REQUIRED); n != 1) return n;
    share(loader);  // another thread's may have come first: then this one goes
    return 1;
}

void SharedModule::release() noexcept {
    std::unique_ptr<R_DllLoader> last;
    const std::scoped_lock lock(g_moduleLock);
    m_pLoader->Unload();
    if (!m_pLoader->IsLoaded()) last.reset(std::exchange(m_pLoader, nullptr));
}

}  // namespace rv
