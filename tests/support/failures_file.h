#pragma once

// The plan and the counts that panel_failures.so shares with a test, in the sandbox of one gateway.

#include "sim/failures.h"
#include "sim/gateway.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

// The shared plan of panel_failures.so, in the sandbox of one gateway.
class FailuresFile {
  public:
    explicit FailuresFile(const sim::Gateway& gateway) {
        const std::string file = gateway.folder() + "/" + sim::failuresFileName;
        const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (descriptor < 0 || ftruncate(descriptor, sizeof(sim::LibraryFailures)) != 0) {
            throw std::system_error(errno, std::generic_category(), file);
        }
        void* memory = mmap(nullptr, sizeof(sim::LibraryFailures), PROT_READ | PROT_WRITE,
                            MAP_SHARED, descriptor, 0);
        close(descriptor);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        plan = new (memory) sim::LibraryFailures{};
    }
    ~FailuresFile() { munmap(plan, sizeof *plan); }
    FailuresFile(const FailuresFile&) = delete;
    FailuresFile& operator=(const FailuresFile&) = delete;

    sim::LibraryFailures* operator->() { return plan; }

  private:
    sim::LibraryFailures* plan;
};
