#include <vqf/console/interruption.h>

#include <csignal>
#include <initializer_list>

namespace zd::tool {

namespace {

volatile std::sig_atomic_t receivedSignal = 0;

extern "C" void rememberSignal(int signal)
{
    receivedSignal = signal;
}

} // namespace

void watchSignals()
{
    struct sigaction action {};
    action.sa_handler = rememberSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_DFL); // some parents ignore it, and then nothing would end a long table
}

int interruption()
{
    return receivedSignal;
}

} // namespace zd::tool
