#pragma once

// A stand-in for an open modem port whose answers wait in it from the start, one chunk per read.
// It is no terminal, so nothing is flushed and no time need pass: for what is read and how it is
// understood. An empty chunk is the end of the port (a read of 0).

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

class ScriptedPort {
  public:
    explicit ScriptedPort(const std::vector<std::string>& chunks) {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_) != 0) {
            std::perror("scripted port");
            std::abort();
        }
        for (const std::string& chunk : chunks) {
            send(ends_[1], chunk.data(), chunk.size(), 0);
        }
    }
    ~ScriptedPort() {
        close(ends_[0]);
        close(ends_[1]);
    }
    ScriptedPort(const ScriptedPort&) = delete;
    ScriptedPort& operator=(const ScriptedPort&) = delete;

    int fd() const { return ends_[0]; }

    // Takes the chunks that nobody has read and gives their number.
    int chunksLeft() {
        int count = 0;
        for (char piece[1024]; recv(ends_[0], piece, sizeof piece, MSG_DONTWAIT) >= 0; ++count) {
        }
        return count;
    }

  private:
    int ends_[2] = {-1, -1};
};
