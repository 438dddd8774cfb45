/* The least that can answer: each line is a number, and the answer has so many bytes before its
 * marker. Takes a line to come in one piece and none to be empty but the first. */
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static char filling[1 << 16];

static void put(const char *text, size_t size)
{
    while (size > 0) {
        const ssize_t written = write(STDOUT_FILENO, text, size);
        if (written < 0)
            _exit(1);
        text += written;
        size -= (size_t)written;
    }
}

static void answer(size_t size)
{
    static const char marker[] = "KIV_CALLBACK_SUCCESS";
    const size_t rest = size % (sizeof filling / 2);
    for (size_t left = size - rest; left > 0; left -= sizeof filling / 2)
        put(filling, sizeof filling / 2);
    memcpy(filling + rest, marker, sizeof marker - 1);
    put(filling, rest + sizeof marker - 1);
    memset(filling + rest, 'x', sizeof marker - 1);
}

int main(void)
{
    char line[4096];
    ssize_t size;
    memset(filling, 'x', sizeof filling);
    while ((size = read(STDIN_FILENO, line, sizeof line - 1)) > 0) {
        line[size] = '\0';
        if (*line != '\n')
            answer(strtoul(line, NULL, 10));
    }
    return 0;
}
