// client [INDEX]: chooses the default server INDEX, if given, and prints the answers.
#include <err.h>
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

static int reach(void)
{
    const struct sockaddr_un address = {AF_UNIX, "/var/run/quillon/quillon"};
    const struct timeval pause = {0, 500000};
    const int daemon = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(daemon, (const struct sockaddr *)&address, sizeof address) != 0)
        err(2, "no daemon");
    setsockopt(daemon, SOL_SOCKET, SO_RCVTIMEO, &pause, sizeof pause);
    return daemon;
}

static void receive(int daemon, char *data, size_t size)
{
    ssize_t more = 0;
    for (int pauses = 0; size > 0; data += more, size -= (size_t)more) {
        while ((more = recv(daemon, data, size, 0)) < 0 && errno == EAGAIN && pauses++ < 6)
            close(reach()); // a waiting client is taken only when another connects
        if (more <= 0)
            errx(2, "no answer");
    }
}

int main(int argc, char **argv)
{
    char choice[64], ask[] = "{\"type\":\"5\"}";
    const int size = snprintf(choice, sizeof choice, "{\"type\":\"4\",\"serverIndex\":\"%d\"}",
                              argc > 1 ? atoi(argv[1]) : 0);
    int32_t heads[2][2] = {{2, size}, {2, sizeof ask - 1}}, head[2];
    const struct iovec frames[] = {
        {heads[0], 8}, {choice, (size_t)size}, {heads[1], 8}, {ask, sizeof ask - 1}};
    const int daemon = reach(), skipped = argc > 1 ? 0 : 2;
    writev(daemon, frames + skipped, 4 - skipped); // one write: a frame in pieces is lost

    for (int refused = 0;;) {
        receive(daemon, (char *)head, sizeof head);
        char *payload = calloc(1, (size_t)head[1] + 1);
        receive(daemon, payload, (size_t)head[1]);
        puts(payload);
        refused |= strstr(payload, "\"type\":\"2\"") != NULL; // quotes inside texts are escaped
        if (strstr(payload, "\"type\":\"5\"") != NULL)
            return refused;
        free(payload);
    }
}
