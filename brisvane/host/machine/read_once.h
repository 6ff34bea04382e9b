// ReadOnce, which makes several answers come from one reading of a file.
// A ReadOnce belongs to the thread that makes it, and affects that thread only.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "brisvane/types/export.h"

namespace brisvane::host {

// While a ReadOnce exists, its thread reads the administrator's file, os-release and each file of a
// registry node at most once, and looks for the folder of a node once. So a file that is replaced
// meanwhile never gives a mixture of its old and its new content. Firmware variables are read each
// time. ReadOnces nest: what is read is kept until the outermost one is destroyed.
class BRISVANE_EXPORT ReadOnce {
 public:
  ReadOnce() noexcept;
  ReadOnce(const ReadOnce&) = delete;
  ReadOnce& operator=(const ReadOnce&) = delete;
  ~ReadOnce();

  // The result of `read` for the file or folder at `path`. While a ReadOnce of this thread lives,
  // later calls with this path give the same result. REQUIRES: one path is always read as the same
  // type.
  template <typename Content, typename Read>
  [[nodiscard]] static std::shared_ptr<const Content> content(const std::string& path,
                                                              const Read& read) {
    return std::static_pointer_cast<const Content>(
        find(path, [&read]() -> std::shared_ptr<const void> {
          return std::make_shared<const Content>(read());
        }));
  }

 private:
  using Contents = std::map<std::string, std::shared_ptr<const void>>;
  static std::shared_ptr<const void> find(const std::string& path,
                                          const std::function<std::shared_ptr<const void>()>& read);

  Contents contents_;
  ReadOnce* const outer_;
};

}  // namespace brisvane::host
