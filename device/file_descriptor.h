#pragma once

// A file descriptor that is closed at the end of its scope.

#include <unistd.h>

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (isOpen()) {
            close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; }

  private:
    int fd_;
};
