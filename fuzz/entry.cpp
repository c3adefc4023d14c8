#include <fuzz/targets.h>

#include <log/logger.h>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerInitialize(int*, char***)
{
    zd::Logger::setLevel(QStringLiteral("*"), 0);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zd::fuzz::FUZZ_TARGET({data, size});
    return 0;
}
