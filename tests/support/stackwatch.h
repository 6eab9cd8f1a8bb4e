/// \file
/// What a piece of work leaves on the stack.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>

namespace nbitest {

/// Runs \p work on a thread of its own, whose stack can be searched afterwards.
class StackWatch {
public:
    explicit StackWatch(const std::function<void()>& work)
    {
        if (posix_memalign(&m_pStack, 4096, STACK_SIZE) != 0) throw std::bad_alloc();
        std::memset(m_pStack, 0, STACK_SIZE);
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, m_pStack, STACK_SIZE);
        pthread_t thread;
        const int nError =
            pthread_create(&thread, &attributes, &Run, const_cast<std::function<void()>*>(&work));
        pthread_attr_destroy(&attributes);
        if (nError != 0) throw std::runtime_error("no thread");
        pthread_join(thread, nullptr);
    }
    ~StackWatch() { std::free(m_pStack); }
    StackWatch(const StackWatch&) = delete;
    StackWatch& operator=(const StackWatch&) = delete;

    bool Holds(const std::string& bytes) const
    {
        return memmem(m_pStack, STACK_SIZE, bytes.data(), bytes.size()) != nullptr;
    }

    /// Whether any \p nBytes of \p text that follow on each other are there: a copy that went through a
    /// register is only a part.
    bool HoldsAnyOf(const std::string& text, std::size_t nBytes) const
    {
        for (std::size_t i = 0; i + nBytes <= text.size(); ++i) {
            if (Holds(text.substr(i, nBytes))) return true;
        }
        return false;
    }

private:
    static constexpr std::size_t STACK_SIZE = std::size_t{1} << 20;

    static void* Run(void* pWork)
    {
        // The work runs deep enough that the end of the thread does not write over what it left.
        char room[STACK_SIZE / 8];
        asm volatile("" : : "r"(room) : "memory");
        (*static_cast<const std::function<void()>*>(pWork))();
        asm volatile("" : : "r"(room) : "memory");
        return nullptr;
    }

    void* m_pStack = nullptr;
};

}  // namespace nbitest
