#include "brisvane/host/machine/registry_sources.h"

#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

#include "brisvane/host/files/directory.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/machine/described_node.h"
#include "brisvane/host/machine/read_once.h"
#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host::real {
namespace {

constexpr std::size_t kLargestProperty = std::size_t{1} << 20U;

// A property's name in the registry, and the file that gives it.
struct Alias {
  std::string_view property;
  std::string_view file;
};

constexpr Alias kSmbiosPlatform[] = {{"HwPlatformSerialNumber", "product_serial"},
                                     {"HwPlatformUUID", "product_uuid"},
                                     {"board-id", "board_name"},
                                     {"model", "product_name"}};
constexpr Alias kSmbiosRom[] = {{"version", "bios_version"}};
constexpr Alias kDeviceTreePlatform[] = {{"HwPlatformSerialNumber", "serial-number"}};

// What the nodes that are folders of the kernel have in common: a file is a property.
class FolderNode : public RegistryNode {
 public:
  FolderNode(std::string folder, std::span<const Alias> aliases)
      : folder_(std::move(folder)), aliases_(aliases) {}

  bool exists() const override {
    return *ReadOnce::content<bool>(folder_,
                                    [this] { return fileKind(folder_) == FileKind::kFolder; });
  }

  std::optional<Object> property(std::string_view name) const override {
    return read(name).optional();
  }

  Result<std::string> origin(std::string_view name) const override {
    const auto value = read(name);
    if (!value.ok()) return value.error();
    return pathOf(fileOf(name));
  }

 protected:
  // The file that gives a property; empty for none.
  virtual std::string_view fileOf(std::string_view name) const noexcept = 0;
  // The property's value from the file's content; nullopt for a file that says nothing.
  virtual std::optional<Object> valueOf(std::string content) const = 0;

  [[nodiscard]] const std::string& folder() const noexcept { return folder_; }
  [[nodiscard]] std::span<const Alias> aliases() const noexcept { return aliases_; }
  [[nodiscard]] std::string_view aliasOf(std::string_view name) const noexcept {
    const auto found = std::find_if(aliases_.begin(), aliases_.end(),
                                    [name](const Alias& alias) { return alias.property == name; });
    return found != aliases_.end() ? found->file : std::string_view();
  }

 private:
  [[nodiscard]] std::string pathOf(std::string_view file) const {
    return join({folder_, "/", file});
  }

  [[nodiscard]] Result<Object> read(std::string_view name) const {
    const std::string_view file = fileOf(name);
    if (file.empty()) return Error(ENOENT);
    const std::string path = pathOf(file);
    const auto content = ReadOnce::content<Result<std::string>>(
        path, [&path] { return readFile(path, kLargestProperty); });
    if (!content->ok()) return content->error();
    auto value = valueOf(content->value());
    if (!value) return Error(ENODATA, path);
    return std::move(*value);
  }

  const std::string folder_;
  const std::span<const Alias> aliases_;
};

// Identity strings of the firmware, as texts.
class SmbiosNode final : public FolderNode {
 public:
  using FolderNode::FolderNode;

  std::vector<std::string> propertyNames() const override {
    std::vector<std::string> names;
    for (const Alias& alias : aliases()) {
      if (property(alias.property)) names.emplace_back(alias.property);
    }
    return names;
  }

 private:
  std::string_view fileOf(std::string_view name) const noexcept override { return aliasOf(name); }

  // The kernel ends each string with a line feed, and shows a missing one as just that. A
  // string that is no UTF-8 stays what it is, bytes.
  std::optional<Object> valueOf(std::string content) const override {
    if (content.ends_with('\n')) content.pop_back();
    if (content.empty()) return std::nullopt;
    if (!isUtf8(content)) return Data(content.begin(), content.end());
    return content;
  }
};

// The properties of one device-tree node, as byte buffers.
class DeviceTreeNode final : public FolderNode {
 public:
  using FolderNode::FolderNode;

  std::vector<std::string> propertyNames() const override {
    std::vector<std::string> names;
    for (std::string& name :
         listDirectory(folder()).optional().value_or(std::vector<std::string>())) {
      if (fileKind(join({folder(), "/", name})) == FileKind::kOther)
        names.push_back(std::move(name));
    }
    for (const Alias& alias : aliases()) {
      if (property(alias.property)) names.emplace_back(alias.property);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::string_view fileOf(std::string_view name) const noexcept override {
    const std::string_view alias = aliasOf(name);
    if (!alias.empty()) return alias;
    return isFileName(name) ? name : std::string_view();
  }

  std::optional<Object> valueOf(std::string content) const override {
    return Data(content.begin(), content.end());
  }
};

// The first of several nodes that the machine has.
class FirstNode final : public RegistryNode {
 public:
  explicit FirstNode(std::vector<std::shared_ptr<const RegistryNode>> nodes)
      : nodes_(std::move(nodes)) {}

  bool exists() const override { return first().exists(); }
  std::optional<Object> property(std::string_view name) const override {
    return first().property(name);
  }
  std::vector<std::string> propertyNames() const override { return first().propertyNames(); }
  Result<std::string> origin(std::string_view name) const override { return first().origin(name); }

 private:
  const RegistryNode& first() const {
    const auto found =
        std::find_if(nodes_.begin(), nodes_.end(), [](const auto& node) { return node->exists(); });
    return found != nodes_.end() ? **found : *nodes_.front();
  }

  const std::vector<std::shared_ptr<const RegistryNode>> nodes_;
};

}  // namespace

NodeRegistry::Nodes registryNodes(const std::string& smbios, const std::string& deviceTree,
                                  std::shared_ptr<const EfiVariables> variables,
                                  const AdministratorFile& file) {
  using Node = std::shared_ptr<const RegistryNode>;
  const Node empty = std::make_shared<DescribedNode>(Dictionary(), "");
  const Node chosen =
      std::make_shared<DeviceTreeNode>(deviceTree + "/chosen", std::span<const Alias>());
  const Node identity = std::make_shared<SmbiosNode>(smbios, kSmbiosPlatform);
  const Node tree = std::make_shared<DeviceTreeNode>(deviceTree, kDeviceTreePlatform);
  const auto overlaid = [&file](Node base, OverlaidNode::Section section) {
    return std::make_shared<OverlaidNode>(std::move(base), file, section);
  };
  return {
      .root = overlaid(empty, &MachineDescription::root),
      .chosen = overlaid(std::make_shared<FirstNode>(std::vector{chosen, empty}),
                         &MachineDescription::chosen),
      .platform = overlaid(std::make_shared<FirstNode>(std::vector{identity, tree}),
                           &MachineDescription::platform),
      .rom = overlaid(std::make_shared<SmbiosNode>(smbios, kSmbiosRom), &MachineDescription::rom),
      .options = std::move(variables),
  };
}

}  // namespace brisvane::host::real
