#include <vqf/console/memoryshortage.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <typeinfo>

#include <cxxabi.h>
#include <unistd.h>

namespace zd::tool {

namespace {

int exitCode = 1;
std::terminate_handler usualEnd = nullptr;

void endWithoutMemory()
{
    const std::type_info* thrown = abi::__cxa_current_exception_type();
    if (thrown != nullptr && *thrown == typeid(std::bad_alloc))
        ::_exit(complainOfMemory());
    usualEnd();
}

// The libraries make objects before the program's own come about, so the handler stands before those of the libraries.
void install()
{
    usualEnd = std::set_terminate(endWithoutMemory);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const installFirst)() = install;

} // namespace

void setExitCodeWithoutMemory(int code)
{
    exitCode = code;
}

int complainOfMemory()
{
    constexpr char text[] = "vqf: not enough memory\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, sizeof text - 1);
    return exitCode;
}

} // namespace zd::tool
