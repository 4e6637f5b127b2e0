#pragma once

#include "files/Directory.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include <sys/stat.h>

namespace quenbrook::test {

// A directory of the test's own with one entry of every kind.
class Everything {
  public:
    Everything() {
        files_.write("file.ics", "file");
        files_.makeDirectory("directory.ics");
        EXPECT_EQ(::mkfifo(files_.path("fifo.ics").c_str(), 0600), 0);
        files_.link("link.ics", "file.ics");
        files_.link("linkToLink.ics", "link.ics");
        files_.link("linkToDirectory.ics", "directory.ics");
        files_.link("dangling.ics", "nowhere.ics");
        files_.link("loop.ics", "loop.ics");
        files_.link("device.ics", "/dev/zero");
        files_.link("tty.ics", "/dev/tty");
        files_.link("linkToFifo.ics", "fifo.ics");
        files_.write(".hidden.ics", "hidden");
    }

    const Files& files() const { return files_; }

    std::map<std::string, files::DirectoryEntry> entries() const {
        std::map<std::string, files::DirectoryEntry> found;
        for (const files::DirectoryEntry& entry : files_.open().list().entries) {
            found.emplace(entry.name, entry);
        }
        return found;
    }

  private:
    Files files_;
};

} // namespace quenbrook::test
