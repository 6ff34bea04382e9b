// The shared libraries as a program sees them: this test links them and no object.
#include <brisvane/all.h>
#include <brisvane/host/simulated/simulated_machine.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace bv = brisvane;

namespace {

TEST(Boundary, VersionSymbolsHaveCLinkageAndTheirExactValues) {
  EXPECT_EQ(*static_cast<const double*>(::dlsym(RTLD_DEFAULT, "BrisvaneVersionNumber")), 1.0);
  EXPECT_STREQ(static_cast<const char*>(::dlsym(RTLD_DEFAULT, "BrisvaneVersionString")),
               "@(#)PROGRAM:Brisvane  PROJECT:Brisvane-1\n");
}

TEST(Boundary, SimulatedMachineServesTheOneLibraryInTheProcess) {
  using bv::host::simulated::Machine;
  const auto machine = Machine::fromJson(Machine::exampleDescription()).value();
  const bv::host::ScopedPlatform installed(machine->platform());
  const auto port = bv::BVSerialPort::createPortWithSerial("BV0001");
  ASSERT_NE(port, nullptr);
  ASSERT_NE(port->openPort(115200), -1);
  bv::Data reply;
  EXPECT_TRUE(port->sendDataCommand(bv::Data{0x02, 0x10, 0x03}, reply, 5, 5.0));
  EXPECT_EQ(machine->systemLog().at(0).argument.substr(0, 19), "Serial Port handle:");
}

// A service of the program's own: its type information and that of the library's
// interface must be one across the boundary.
class OwnLog final : public bv::host::SystemLog {
 public:
  void write(const bv::host::LogChannel& /*channel*/, bv::host::LogType /*type*/,
             std::string_view /*format*/, std::string_view argument) const noexcept override {
    last = argument;
  }
  mutable std::string last;
};

TEST(Boundary, ProgramCanBringAServiceOfItsOwn) {
  auto own = std::make_shared<const OwnLog>();
  auto platform = std::make_shared<bv::host::Platform>();
  platform->setSystemLog(own);
  const bv::host::ScopedPlatform installed(platform);
  bv::BVLog::Default::info("across");
  EXPECT_EQ(own->last, "across");
  EXPECT_NE(dynamic_cast<const OwnLog*>(&bv::host::platform()->systemLog()), nullptr);
}

}  // namespace
