#include "queue/PrintServer.h"

#include <cups/http.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include "system/MemoryFile.h"
#include "system/ReadFile.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr int kPatienceInSeconds = 10;
constexpr int kWholeProgress = 100;                          // percent, of a report
constexpr std::size_t kLongestPpd = std::size_t{64} << 20U;  // far beyond any driver

struct DeleteIpp {
  void operator()(ipp_t* ipp) const { ippDelete(ipp); }
};
using Ipp = std::unique_ptr<ipp_t, DeleteIpp>;

// Where the print server's HTTP side has a queue, escaped as it is in URIs.
std::string resourceOf(const std::string& queue, const char* suffix) {
  std::array<char, HTTP_MAX_URI> uri{};
  httpAssembleURIf(HTTP_URI_CODING_ALL, uri.data(), uri.size(), "ipp", nullptr, "host", 0,
                   "/printers/%s%s", queue.c_str(), suffix);
  const std::string_view text = uri.data();
  return std::string(text.substr(text.find('/', std::string_view("ipp://").size())));
}

void addUser(ipp_t* request, const std::string& user) {
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr,
               user.c_str());
}

// A request about the whole print server, made by this process's user.
Ipp requestAboutAll(ipp_op_t operation) {
  Ipp request(ippNewRequest(operation));
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr,
               "ipp://localhost/");
  addUser(request.get(), cupsUser());
  return request;
}

// A request about a queue, made by this process's user.
Ipp requestAbout(const std::string& queue, ipp_op_t operation) {
  Ipp request(ippNewRequest(operation));
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr,
               queueUri(queue).c_str());
  addUser(request.get(), cupsUser());
  return request;
}

Ipp requestAbout(const std::string& queue, int job, ipp_op_t operation, const std::string& user) {
  Ipp request(ippNewRequest(operation));
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr,
               queueUri(queue).c_str());
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", job);
  addUser(request.get(), user);
  return request;
}

template <std::size_t Count>
void askFor(ipp_t* request, const std::array<const char*, Count>& attributes) {
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", Count, nullptr,
                attributes.data());
}

std::string adviceFor(ipp_status_t refusal) {
  switch (refusal) {
    case IPP_STATUS_ERROR_NOT_FOUND:
      return translated("`lpstat -e` names the queues.");
    case IPP_STATUS_ERROR_FORBIDDEN:
    case IPP_STATUS_ERROR_NOT_AUTHENTICATED:
    case IPP_STATUS_ERROR_NOT_AUTHORIZED:
    case IPP_STATUS_ERROR_CUPS_AUTHENTICATION_CANCELED:
      return translated("Only an administrator may do this. Run this command again with sudo.");
    default:
      return {};
  }
}

// What the print server said to the last request.
tl::unexpected<Problem> refusal(const std::string& attempt) {
  std::string said = cupsLastErrorString();
  // libcups's word where it has none of the server's, which would be no reason.
  if (said == std::strerror(0)) said = ippErrorString(cupsLastError());
  return failure(translated("{}: the print server says: {}", attempt, forTerminal(said)),
                 adviceFor(cupsLastError()));
}

bool succeeded() { return cupsLastError() <= IPP_STATUS_OK_EVENTS_COMPLETE; }

std::vector<std::string> textsOf(ipp_attribute_t* attribute) {
  std::vector<std::string> texts;
  for (int i = 0; i < ippGetCount(attribute); ++i) {
    const char* text = ippGetString(attribute, i, nullptr);
    if (text != nullptr) texts.emplace_back(text);
  }
  return texts;
}

std::vector<int> numbersOf(ipp_attribute_t* attribute) {
  std::vector<int> numbers(static_cast<std::size_t>(ippGetCount(attribute)));
  for (int i = 0; int& number : numbers) number = ippGetInteger(attribute, i++);
  return numbers;
}

std::string textOf(ipp_attribute_t* attribute) {
  auto texts = textsOf(attribute);
  return texts.empty() ? std::string() : std::move(texts.front());
}

int numberOf(ipp_attribute_t* attribute) {
  const auto numbers = numbersOf(attribute);
  return numbers.empty() ? 0 : numbers.front();
}

std::string textOf(ipp_t* answer, const char* name) {
  return textOf(ippFindAttribute(answer, name, IPP_TAG_ZERO));
}

int numberOf(ipp_t* answer, const char* name) {
  return numberOf(ippFindAttribute(answer, name, IPP_TAG_ZERO));
}

// Goes through the attributes of the answer's groups of a kind, one group for each queue or job.
// Something without a name stands between two groups.
void forEachOfGroup(ipp_t* answer, ipp_tag_t group,
                    const std::function<void(bool isFirst, ipp_attribute_t*)>& take) {
  bool isFirst = true;
  for (ipp_attribute_t* attribute = ippFirstAttribute(answer); attribute != nullptr;
       attribute = ippNextAttribute(answer)) {
    if (ippGetName(attribute) == nullptr) isFirst = true;
    if (ippGetName(attribute) == nullptr || ippGetGroupTag(attribute) != group) continue;
    take(std::exchange(isFirst, false), attribute);
  }
}

// What is asked of a queue, and where it goes.
struct AttributeRow {
  const char* name;
  void (*take)(PrintQueue&, ipp_attribute_t*);
};
constexpr std::array kQueueAttributes = std::to_array<AttributeRow>({
    {"printer-name", [](PrintQueue& queue, ipp_attribute_t* it) { queue.name = textOf(it); }},
    {"device-uri", [](PrintQueue& queue, ipp_attribute_t* it) { queue.deviceUri = textOf(it); }},
    {"member-names", [](PrintQueue& queue, ipp_attribute_t* it) { queue.members = textsOf(it); }},
    {"printer-location",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.location = textOf(it); }},
    {"printer-type",
     [](PrintQueue& queue, ipp_attribute_t* it) {
       queue.takesCommands = (numberOf(it) & CUPS_PRINTER_COMMANDS) != 0;
     }},
    {"printer-state",
     [](PrintQueue& queue, ipp_attribute_t* it) {
       queue.isStopped = numberOf(it) == IPP_PSTATE_STOPPED;
     }},
    {"printer-is-accepting-jobs",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.acceptsJobs = ippGetBoolean(it, 0) != 0; }},
    {"printer-state-reasons",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.stateReasons = textsOf(it); }},
    {"marker-names",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.markerNames = textsOf(it); }},
    {"marker-types",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.markerTypes = textsOf(it); }},
    {"marker-colors",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.markerColors = textsOf(it); }},
    {"marker-levels",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.markerLevels = numbersOf(it); }},
    {"marker-message",
     [](PrintQueue& queue, ipp_attribute_t* it) { queue.markerMessage = textOf(it); }},
    {"marker-change-time",
     [](PrintQueue& queue, ipp_attribute_t* it) {
       const std::chrono::seconds changed(numberOf(it));
       if (changed.count() > 0) queue.markersChanged = std::chrono::sys_seconds(changed);
     }},
});
constexpr auto kAttributesOfAQueue = [] {
  std::array<const char*, kQueueAttributes.size()> names{};
  for (std::size_t i = 0; i < names.size(); ++i) names.at(i) = kQueueAttributes.at(i).name;
  return names;
}();

void take(PrintQueue& queue, ipp_attribute_t* attribute) {
  const char* name = ippGetName(attribute);
  for (const AttributeRow& row : kQueueAttributes) {
    if (name != nullptr && std::string_view(name) == row.name) row.take(queue, attribute);
  }
}

// To the print server, job 0 of a queue is the one that is printing, whoever's it is.
Result<> isNumberOfAJob(int id) {
  if (id > 0) return {};
  return failure(fmt::format("{} is no number of a job", id));
}

// Keeps the connection from waiting for ever.
int giveUp(http_t* /*http*/, void* /*data*/) { return 0; }

}  // namespace

std::string queueUri(const std::string& queue) {
  std::array<char, HTTP_MAX_URI> uri{};
  httpAssembleURIf(HTTP_URI_CODING_ALL, uri.data(), uri.size(), "ipp", nullptr, "localhost",
                   ippPort(), "/printers/%s", queue.c_str());
  return uri.data();
}

bool PrintQueue::hasReason(std::string_view reason) const {
  return std::ranges::find(stateReasons, reason) != stateReasons.end();
}

Result<PrintServer> PrintServer::connect() {
  http_t* http = httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC, cupsEncryption(), 1,
                              kPatienceInSeconds * 1000, nullptr);
  if (http == nullptr) {
    return failure(translated("no connection to the print server at {}", forTerminal(cupsServer())),
                   translated("Does it run? Try: systemctl status cups"));
  }
  httpSetTimeout(http, kPatienceInSeconds, giveUp, nullptr);
  return PrintServer(http);
}

Result<PrintQueue> PrintServer::queue(const std::string& name) {
  Ipp request = requestAbout(name, IPP_OP_GET_PRINTER_ATTRIBUTES);
  askFor(request.get(), kAttributesOfAQueue);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  if (!succeeded()) {
    auto problem = refusal(translated("no queue \"{}\"", forTerminal(name)));
    problem.value().isMisuse = cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND;
    return problem;
  }

  PrintQueue queue;
  for (ipp_attribute_t* attribute = ippFirstAttribute(answer.get()); attribute != nullptr;
       attribute = ippNextAttribute(answer.get())) {
    take(queue, attribute);
  }
  queue.name = name;
  return queue;
}

Result<std::vector<PrintQueue>> PrintServer::allQueues() {
  Ipp request(ippNewRequest(IPP_OP_CUPS_GET_PRINTERS));
  addUser(request.get(), cupsUser());
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_ENUM, "printer-type", 0);
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_ENUM, "printer-type-mask",
                CUPS_PRINTER_CLASS);
  askFor(request.get(), kAttributesOfAQueue);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  std::vector<PrintQueue> queues;
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) return queues;  // there are none at all
  if (!succeeded()) return refusal(translated("cannot list the queues"));

  forEachOfGroup(answer.get(), IPP_TAG_PRINTER, [&](bool isFirst, ipp_attribute_t* attribute) {
    if (isFirst) queues.emplace_back();
    take(queues.back(), attribute);
  });
  std::ranges::sort(queues, {}, &PrintQueue::name);
  return queues;
}

Result<std::vector<std::string>> PrintServer::queuesWithPrinter() {
  return queuesOf(0, CUPS_PRINTER_CLASS);
}

std::string PrintServer::printerFoundAs(const std::string& name) {
  cups_dest_t* found = cupsGetNamedDest(mHttp.get(), name.c_str(), nullptr);
  if (found == nullptr) return {};
  const char* uri = cupsGetOption("device-uri", found->num_options, found->options);
  std::string text = uri == nullptr ? "" : uri;
  cupsFreeDests(1, found);
  return text;
}

Result<std::vector<std::string>> PrintServer::queues() { return queuesOf(0, 0); }

Result<std::vector<std::string>> PrintServer::queuesThatTakeCommands() {
  return queuesOf(CUPS_PRINTER_COMMANDS, CUPS_PRINTER_COMMANDS | CUPS_PRINTER_CLASS);
}

// The bits of `mask` in a queue's type must be those of `type`.
Result<std::vector<std::string>> PrintServer::queuesOf(int type, int mask) {
  constexpr std::array kAttributes = {"printer-name"};
  Ipp request(ippNewRequest(IPP_OP_CUPS_GET_PRINTERS));
  addUser(request.get(), cupsUser());
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_ENUM, "printer-type", type);
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_ENUM, "printer-type-mask", mask);
  askFor(request.get(), kAttributes);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  std::vector<std::string> names;
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) return names;  // there are no queues at all
  if (!succeeded()) return refusal(translated("cannot list the queues"));

  for (ipp_attribute_t* name = ippFindAttribute(answer.get(), "printer-name", IPP_TAG_NAME);
       name != nullptr; name = ippFindNextAttribute(answer.get(), "printer-name", IPP_TAG_NAME)) {
    names.emplace_back(ippGetString(name, 0, nullptr));
  }
  return names;
}

Result<std::string> PrintServer::ppd(const std::string& queue) {
  const FileDescriptor file = memoryFile("");
  const http_status_t status =
      cupsGetFd(mHttp.get(), resourceOf(queue, ".ppd").c_str(), file.get());
  if (status == HTTP_STATUS_NOT_FOUND) return std::string();
  if (status != HTTP_STATUS_OK) {
    return failure(translated("cannot read the PPD file of \"{}\": {}", forTerminal(queue),
                              httpStatus(status)));
  }
  auto ppd = readFile(file.get(), kLongestPpd);
  if (!ppd) {
    return failure(translated("cannot read the PPD file of \"{}\": {}", forTerminal(queue),
                              std::strerror(ppd.error())));
  }
  return *std::move(ppd);
}

Result<> PrintServer::setPpd(const std::string& queue, const std::string& ppd) {
  const FileDescriptor file = memoryFile(ppd);
  Ipp request = requestAbout(queue, IPP_OP_CUPS_ADD_MODIFY_PRINTER);
  const Ipp answer(cupsDoIORequest(mHttp.get(), request.release(), "/admin/", file.get(), -1));
  if (succeeded()) return {};
  return refusal(fmt::format("cannot change the PPD file of \"{}\"", forTerminal(queue)));
}

Result<int> PrintServer::submitCommand(const std::string& queue, const std::string& command,
                                       std::chrono::seconds cancelAfter) {
  const FileDescriptor file = memoryFile(fmt::format("#CUPS-COMMAND\n{}\n", command));
  Ipp request = requestAbout(queue, IPP_OP_PRINT_JOB);
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", nullptr,
               command.c_str());
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_MIMETYPE, "document-format", nullptr,
               CUPS_FORMAT_COMMAND);
  ippAddInteger(request.get(), IPP_TAG_JOB, IPP_TAG_INTEGER, "job-cancel-after",
                static_cast<int>(cancelAfter.count()));
  const Ipp answer(cupsDoIORequest(mHttp.get(), request.release(), resourceOf(queue, "").c_str(),
                                   file.get(), -1));
  if (succeeded()) return numberOf(answer.get(), "job-id");
  return refusal(translated("cannot send {} to \"{}\"", command, forTerminal(queue)));
}

Result<std::vector<PrintJob>> PrintServer::unfinishedJobs(const std::string& queue) {
  return jobs(queue, "not-completed");
}

Result<std::vector<PrintJob>> PrintServer::finishedJobs(const std::string& queue) {
  return jobs(queue, "completed");
}

Result<std::vector<PrintJob>> PrintServer::jobs(const std::string& queue, const char* which) {
  constexpr std::array kAttributes = {"job-id", "job-name", "job-state", "document-format",
                                      "job-originating-user-name"};
  Ipp request = requestAbout(queue, IPP_OP_GET_JOBS);
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "which-jobs", nullptr, which);
  askFor(request.get(), kAttributes);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  if (!succeeded())
    return refusal(translated("cannot list the jobs of \"{}\"", forTerminal(queue)));

  // The title of somebody else's job may be kept from us.
  std::vector<PrintJob> jobs;
  forEachOfGroup(answer.get(), IPP_TAG_JOB, [&](bool isFirst, ipp_attribute_t* attribute) {
    if (isFirst) jobs.emplace_back();
    const std::string_view name = ippGetName(attribute);
    if (name == "job-id") jobs.back().id = ippGetInteger(attribute, 0);
    if (name == "job-state") {
      jobs.back().state = static_cast<ipp_jstate_t>(ippGetInteger(attribute, 0));
    }
    const char* text = ippGetString(attribute, 0, nullptr);
    if (name == "job-name" && text != nullptr) jobs.back().title = text;
    if (name == "job-originating-user-name" && text != nullptr) jobs.back().user = text;
    if (name == "document-format" && text != nullptr) {
      jobs.back().isCommandFile = std::string_view(text) == CUPS_FORMAT_COMMAND;
    }
  });
  return jobs;
}

Result<PrintJob> PrintServer::job(const std::string& queue, int id) {
  constexpr std::array kAttributes = {"job-state", "job-name", "job-media-progress",
                                      "document-format"};
  Ipp request = requestAbout(queue, id, IPP_OP_GET_JOB_ATTRIBUTES, cupsUser());
  askFor(request.get(), kAttributes);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  if (!succeeded()) {
    auto problem = refusal(translated("cannot look at job {}", id));
    problem.value().isMisuse = cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND;
    return problem;
  }
  return PrintJob{.id = id,
                  .title = textOf(answer.get(), "job-name"),
                  .state = static_cast<ipp_jstate_t>(numberOf(answer.get(), "job-state")),
                  .isCommandFile = textOf(answer.get(), "document-format") == CUPS_FORMAT_COMMAND,
                  .hasReported = numberOf(answer.get(), "job-media-progress") == kWholeProgress};
}

Result<> PrintServer::cancelJob(const std::string& queue, int id, const std::string& user) {
  if (auto numbered = isNumberOfAJob(id); !numbered) return numbered;
  Ipp request = requestAbout(queue, id, IPP_OP_CANCEL_JOB, user);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/jobs/"));
  if (succeeded()) return {};
  return refusal(fmt::format("cannot cancel job {}", id));
}

Result<> PrintServer::purgeJob(const std::string& queue, int id) {
  if (auto numbered = isNumberOfAJob(id); !numbered) return numbered;
  Ipp request = requestAbout(queue, id, IPP_OP_CANCEL_JOB, cupsUser());
  ippAddBoolean(request.get(), IPP_TAG_OPERATION, "purge-job", 1);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/jobs/"));
  if (succeeded()) return {};
  return refusal(fmt::format("cannot take job {} out of the list", id));
}

Result<std::vector<PrintSubscription>> PrintServer::subscriptions() {
  constexpr std::array kAttributes = {"notify-subscription-id", "notify-recipient-uri"};
  Ipp request = requestAboutAll(IPP_OP_GET_SUBSCRIPTIONS);
  askFor(request.get(), kAttributes);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  std::vector<PrintSubscription> subscriptions;
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) return subscriptions;  // there are none
  if (!succeeded()) return refusal("cannot list the subscriptions");

  // A group of attributes for each, as of jobs.
  bool isNext = true;
  for (ipp_attribute_t* attribute = ippFirstAttribute(answer.get()); attribute != nullptr;
       attribute = ippNextAttribute(answer.get())) {
    const char* name = ippGetName(attribute);
    if (name == nullptr) isNext = true;
    if (name == nullptr || ippGetGroupTag(attribute) != IPP_TAG_SUBSCRIPTION) continue;
    if (std::exchange(isNext, false)) subscriptions.emplace_back();
    if (std::string_view(name) == "notify-subscription-id") {
      subscriptions.back().id = ippGetInteger(attribute, 0);
    }
    const char* text = ippGetString(attribute, 0, nullptr);
    if (std::string_view(name) == "notify-recipient-uri" && text != nullptr) {
      subscriptions.back().recipient = text;
    }
  }
  return subscriptions;
}

Result<> PrintServer::subscribeToEndsOfJobs(const std::string& recipient) {
  Ipp request = requestAboutAll(IPP_OP_CREATE_PRINTER_SUBSCRIPTIONS);
  ippAddString(request.get(), IPP_TAG_SUBSCRIPTION, IPP_TAG_URI, "notify-recipient-uri", nullptr,
               recipient.c_str());
  ippAddString(request.get(), IPP_TAG_SUBSCRIPTION, IPP_TAG_KEYWORD, "notify-events", nullptr,
               "job-completed");
  ippAddInteger(request.get(), IPP_TAG_SUBSCRIPTION, IPP_TAG_INTEGER, "notify-lease-duration", 0);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  if (succeeded() && numberOf(answer.get(), "notify-subscription-id") > 0) return {};
  return refusal("cannot have the print server tell of the ends of jobs");
}

Result<> PrintServer::cancelSubscription(int id) {
  Ipp request = requestAboutAll(IPP_OP_CANCEL_SUBSCRIPTION);
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_INTEGER, "notify-subscription-id", id);
  const Ipp answer(cupsDoRequest(mHttp.get(), request.release(), "/"));
  if (succeeded()) return {};
  return refusal("cannot keep the print server from telling of the ends of jobs");
}

}  // namespace moxsupply
