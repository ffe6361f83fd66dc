#include "UnixSignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// The handler may only write to a descriptor; the rest happens in the event loop.
int signalSockets[2] = {-1, -1};
// SIGHUP too: a closed terminal or a service reload must not lose the project.
constexpr int WatchedSignals[] = {SIGINT, SIGTERM, SIGHUP};

void forwardSignal(int signalNumber)
{
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &byte, 1);
}

} // namespace

UnixSignalWatcher::UnixSignalWatcher(QObject *parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalSockets) != 0)
        return;
    m_notifier = new QSocketNotifier(signalSockets[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &UnixSignalWatcher::readSignal);

    struct sigaction action = {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : WatchedSignals)
        ::sigaction(signalNumber, &action, nullptr);
}

UnixSignalWatcher::~UnixSignalWatcher()
{
    for (int signalNumber : WatchedSignals)
        std::signal(signalNumber, SIG_DFL);
    for (int &socket : signalSockets) {
        if (socket >= 0)
            ::close(socket);
        socket = -1;
    }
}

void UnixSignalWatcher::readSignal()
{
    unsigned char byte = 0;
    if (::read(signalSockets[1], &byte, 1) == 1)
        Q_EMIT terminationRequested(byte);
}
