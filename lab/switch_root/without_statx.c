/*
 * without_statx COMMAND [ARGUMENT...]: runs a command for which the kernel has no statx.
 *
 * proot does not know that system call, so the paths in it would not be
 * translated. Programs that find it missing use the older calls. When the
 * parent dies, proot is told to end with all that it runs (SIGQUIT).
 */
#include <errno.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <linux/filter.h>
#include <linux/seccomp.h>

static int hide_statx(void)
{
    struct sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_statx, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    struct sock_fprog program = {sizeof filter / sizeof *filter, filter};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return -1;
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

int main(int argc, char **argv)
{
    if (argc < 2) {
        fputs("usage: without_statx COMMAND [ARGUMENT...]\n", stderr);
        return 125;
    }
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
    if (hide_statx() != 0)
        perror("without_statx: going on with statx");
    execvp(argv[1], argv + 1);
    perror(argv[1]);
    return 125;
}
