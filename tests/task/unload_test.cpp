#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

/// The plug-in that brings the library into a process may be closed again.
class Library {
public:
    Library() : m_pHandle(dlopen(NBIUTIL_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}

    bool IsOpen() const { return m_pHandle != nullptr; }
    void Close() { EXPECT_EQ(dlclose(m_pHandle), 0); }

    /// ThreadContextMgr::Instance()->SetThreadContext(nThread, name)
    void SetThreadContext(int nThread, const std::string& name) const
    {
        const auto pInstance = Find<void* (*)()>("_ZN7NS_UTIL16ThreadContextMgr8InstanceEv");
        const auto pSet = Find<void (*)(void*, const int&, const std::string&)>(
            "_ZN7NS_UTIL16ThreadContextMgr16SetThreadContextERKiRKNSt7__cxx1112basic_stringIcSt11char_traits"
            "IcESaIcEEE");
        pSet(pInstance(), nThread, name);
    }

private:
    template <class Function>
    Function Find(const char* pName) const
    {
        void* const pFound = dlsym(m_pHandle, pName);
        EXPECT_NE(pFound, nullptr) << pName;
        return reinterpret_cast<Function>(pFound);
    }

    void* m_pHandle;
};

TEST(UnloadTest, ThreadWithAContextEndsAfterTheLibraryHasBeenClosed)
{
    Library library;
    ASSERT_TRUE(library.IsOpen()) << dlerror();
    std::thread user([&library] {
        library.SetThreadContext(1, "interface");
        library.Close();
    });
    user.join();
    EXPECT_NE(dlopen(NBIUTIL_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it stays where threads find it";
}

}  // namespace
