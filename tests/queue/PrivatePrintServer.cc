#include "tests/queue/PrivatePrintServer.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string_view>
#include <thread>
#include <utility>

#include "system/FileDescriptor.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kOpenPolicy = R"(
DefaultAuthType None
<Policy default>
  <Limit All>
    Order allow,deny
  </Limit>
</Policy>
)";

// What Debian's cupsd.conf says of administrators and of the owners of jobs.
constexpr std::string_view kDebianPolicy = R"(
DefaultAuthType Basic
<Policy default>
  JobPrivateAccess default
  JobPrivateValues default
  SubscriptionPrivateAccess default
  SubscriptionPrivateValues default
  <Limit Create-Job Print-Job Print-URI Validate-Job>
    Order deny,allow
  </Limit>
  <Limit Send-Document Send-URI Hold-Job Release-Job Restart-Job Purge-Jobs Set-Job-Attributes Create-Job-Subscription Renew-Subscription Cancel-Subscription Get-Notifications Reprocess-Job Cancel-Current-Job Suspend-Current-Job Resume-Job Cancel-My-Jobs Close-Job CUPS-Move-Job>
    Require user @OWNER @SYSTEM
    Order deny,allow
  </Limit>
  <Limit CUPS-Get-Document>
    AuthType Default
    Require user @OWNER @SYSTEM
    Order deny,allow
  </Limit>
  <Limit CUPS-Add-Modify-Printer CUPS-Delete-Printer CUPS-Add-Modify-Class CUPS-Delete-Class CUPS-Set-Default CUPS-Get-Devices>
    AuthType Default
    Require user @SYSTEM
    Order deny,allow
  </Limit>
  <Limit Pause-Printer Resume-Printer Enable-Printer Disable-Printer Pause-Printer-After-Current-Job Hold-New-Jobs Release-Held-New-Jobs Deactivate-Printer Activate-Printer Restart-Printer Shutdown-Printer Startup-Printer Promote-Job Schedule-Job-After Cancel-Jobs CUPS-Accept-Jobs CUPS-Reject-Jobs>
    AuthType Default
    Require user @SYSTEM
    Order deny,allow
  </Limit>
  <Limit Cancel-Job CUPS-Authenticate-Job>
    Require user @OWNER @SYSTEM
    Order deny,allow
  </Limit>
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
)";

bool canConnect(const fs::path& path) {
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.string().copy(address.sun_path, sizeof address.sun_path - 1);
  return ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

void copyProgram(const fs::path& program, const fs::path& folder) {
  fs::copy(program, folder);
  fs::permissions(folder / program.filename(), fs::perms(0755));
}

}  // namespace

PrivatePrintServer::PrivatePrintServer(Policy policy, std::chrono::seconds pause) {
  fs::permissions(folder(), fs::perms(0755));  // filters run as another user
  for (const char* name : {"bin", "cache", "doc", "etc", "home", "lib/cups/backend",
                           "lib/cups/filter", "lib/cups/notifier", "log", "spool/temp", "state"}) {
    fs::create_directories(folder() / name);
  }
  writeSettings(policy, pause);
  layOutPrograms();
  start();
}

PrivatePrintServer::~PrivatePrintServer() { stop(); }

void PrivatePrintServer::restart() {
  stop();
  start();
}

Ran PrivatePrintServer::run(const std::vector<std::string>& command,
                            std::vector<std::string> environment,
                            std::chrono::seconds patience) const {
  const std::vector<std::string> ours = {
      "CUPS_SERVER=" + (folder() / "cups.sock").string(),
      "CUPS_SERVERBIN=" + (folder() / "lib/cups").string(),
      "HOME=" + (folder() / "home").string(),  // of no lpoptions of the user's own
      "STATE_DIRECTORY=" + enabledQueues().parent_path().string(), "LC_ALL=C.UTF-8"};
  environment.insert(environment.end(), ours.begin(), ours.end());  // the first of two counts
  return testing::run(command, environment, patience);
}

Ran PrivatePrintServer::moxsupply(std::vector<std::string> arguments,
                                  std::vector<std::string> environment,
                                  std::chrono::seconds patience) const {
  arguments.insert(arguments.begin(), MOXSUPPLY_PROGRAM);
  return run(arguments, std::move(environment), patience);
}

std::string PrivatePrintServer::printerUri(const std::string& queue) const {
  return fmt::format("ipp://{}/printers/{}", mPort.address(), queue);
}

std::filesystem::path PrivatePrintServer::enabledQueues() const {
  return folder() / "enabled/queues.json";
}

void PrivatePrintServer::addBackend(const std::string& name, const std::string& script) const {
  const fs::path file = folder() / "lib/cups/backend" / name;
  std::ofstream(file) << script;
  fs::permissions(file, fs::perms(0755));
}

std::string PrivatePrintServer::log() const { return contentOf(folder() / "log/error"); }

void PrivatePrintServer::writeSettings(Policy policy, std::chrono::seconds pause) const {
  std::ofstream(folder() / "cupsd.conf")
      << fmt::format(
             "Listen {}\n"
             "Listen {}/cups.sock\n"
             "Browsing Off\n"
             "LogLevel debug\n"
             "MaxLogSize 0\n"
             "DirtyCleanInterval 1\n"  // seconds until a change is on disk
             "PreserveJobFiles No\n"
             "<Location />\n"
             "  Order allow,deny\n"
             "</Location>\n",
             mPort.address(), folder().string())
      << (policy == Policy::kOpen ? kOpenPolicy : kDebianPolicy);
  std::ofstream(folder() / "cups-files.conf") << fmt::format(
      "SystemGroup root\n"
      "User lp\n"
      "Group lp\n"
      "Sandboxing Relaxed\n"  // "Off" is an error when root runs it
      "DataDir /usr/share/cups\n"
      "ServerRoot {0}/etc\n"
      "ServerBin {0}/lib/cups\n"
      "StateDir {0}/state\n"
      "CacheDir {0}/cache\n"
      "DocumentRoot {0}/doc\n"
      "RequestRoot {0}/spool\n"
      "TempDir {0}/spool/temp\n"
      "AccessLog {0}/log/access\n"
      "ErrorLog {0}/log/error\n"
      "PageLog {0}/log/page\n"
      "SetEnv STATE_DIRECTORY {1}\n"
      "SetEnv MOXSUPPLY_NOTIFIER_PAUSE {2}\n",
      folder().string(), enabledQueues().parent_path().string(), pause.count());
}

// As they are installed: our programs find the module and the catalogs from where they are.
void PrivatePrintServer::layOutPrograms() const {
  const fs::path cups = folder() / "lib/cups";
  for (const char* name : {"cgi-bin", "daemon", "monitor"}) {
    fs::create_directory_symlink(fs::path(CUPS_SERVERBIN) / name, cups / name);
  }
  for (const auto& backend : fs::directory_iterator(fs::path(CUPS_SERVERBIN) / "backend")) {
    fs::create_symlink(backend.path(), cups / "backend" / backend.path().filename());
  }
  copyProgram(fs::path(CUPS_SERVERBIN) / "filter/commandtops", cups / "filter");
  copyProgram(MOXSUPPLY_FILTER, cups / "filter");
  copyProgram(MOXSUPPLY_NOTIFIER, cups / "notifier");
  fs::rename(cups / "notifier" / fs::path(MOXSUPPLY_NOTIFIER).filename(),
             cups / "notifier/moxsupply");
  fs::copy(MOXSUPPLY_MODULE, folder() / "lib");
  fs::create_directory(folder() / "share");
  fs::copy(MOXSUPPLY_CATALOGS, folder() / "share/locale", fs::copy_options::recursive);
  // AppArmor allows cupsd itself nothing but the system's folders; it knows it by its path.
  copyProgram("/usr/sbin/cupsd", folder() / "bin");
}

void PrivatePrintServer::start() {
  // SIGTERM, so that it ends its jobs, too, when this process goes.
  mProcess.emplace(
      BackChannel::kClosed,
      std::vector<std::string>{"setpriv", "--pdeathsig", "TERM", folder() / "bin/cupsd", "-f", "-c",
                               folder() / "cupsd.conf", "-s", folder() / "cups-files.conf"});
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!canConnect(folder() / "cups.sock")) {
    if (std::chrono::steady_clock::now() > end || !mProcess->isRunning()) {
      ADD_FAILURE() << "cupsd did not start: " << log();
      mProcess.reset();
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

void PrivatePrintServer::stop() {
  if (!mProcess) return;
  if (mProcess->isRunning()) ::kill(mProcess->pid(), SIGTERM);
  static_cast<void>(mProcess->wait());
  mProcess.reset();
}

}  // namespace moxsupply::testing
