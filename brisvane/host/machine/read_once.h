// ReadOnce, by which several answers come from one reading of a file.
// An object belongs to the thread that makes it and concerns that thread alone.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "brisvane/types/export.h"

namespace brisvane::host {

// While one lives, this thread reads the administrator's file and os-release once each, at the
// first question. So a file that is replaced meanwhile never gives a mixture of its old and its
// new content. They nest: the outermost one decides.
class BRISVANE_EXPORT ReadOnce {
 public:
  ReadOnce() noexcept;
  ReadOnce(const ReadOnce&) = delete;
  ReadOnce& operator=(const ReadOnce&) = delete;
  ~ReadOnce();

  // The result of `read` for the file at `path`. While a ReadOnce of this thread lives, later calls
  // with this path give the same result. REQUIRES: one path is always read as the same type.
  template <typename Content, typename Read>
  [[nodiscard]] static std::shared_ptr<const Content> content(const std::string& path, const Read& read) {
    return std::static_pointer_cast<const Content>(
        find(path, [&read]() -> std::shared_ptr<const void> { return std::make_shared<const Content>(read()); }));
  }

 private:
  using Contents = std::map<std::string, std::shared_ptr<const void>>;
  static std::shared_ptr<const void> find(const std::string& path,
                                          const std::function<std::shared_ptr<const void>()>& read);

  Contents contents_;
  ReadOnce* const outer_;
};

}  // namespace brisvane::host
