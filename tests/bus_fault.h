// Some emulators of processors give the handler of SIGBUS a wrong address.
#ifndef KIV_TESTS_BUS_FAULT_H
#define KIV_TESTS_BUS_FAULT_H

#include <csignal>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kiv_tests {

inline volatile const char *bus_fault_place;

// Whether a program learns where a fault was, tried in a process of its own.
inline bool bus_faults_are_located()
{
    const pid_t child = fork();
    if (child == 0) {
        struct sigaction action {};
        action.sa_flags = SA_SIGINFO;
        action.sa_sigaction = [](int, siginfo_t *info, void *) {
            _exit(info->si_addr == bus_fault_place ? 0 : 1);
        };
        sigaction(SIGBUS, &action, nullptr);
        const int empty = memfd_create("empty", MFD_CLOEXEC);
        bus_fault_place = static_cast<char *>(mmap(nullptr, 1, PROT_READ, MAP_PRIVATE, empty, 0));
        _exit(*bus_fault_place + 2);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

} // namespace kiv_tests

#define SKIP_UNLESS_FAULTS_ARE_LOCATED()                                                           \
    if (!kiv_tests::bus_faults_are_located())                                                      \
    GTEST_SKIP() << "the system does not say where a fault was"

#endif
