#include "tests/queue/FakePrintServer.h"

#include <poll.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <utility>

#include "system/Listener.h"

namespace moxsupply::testing {

namespace {

using Http = std::unique_ptr<http_t, decltype(&httpClose)>;
using Message = std::unique_ptr<ipp_t, decltype(&ippDelete)>;

constexpr int kBetweenLooks = 20;  // milliseconds, at whether this is over

// The request that has come with the head of an HTTP request; none where it makes no sense.
Message requestOf(http_t* http) {
  Message request(ippNew(), ippDelete);
  std::array<char, HTTP_MAX_URI> resource{};
  if (httpReadRequest(http, resource.data(), resource.size()) != HTTP_STATE_POST)
    return {nullptr, ippDelete};
  while (httpUpdate(http) == HTTP_STATUS_CONTINUE) {
  }
  if (httpGetExpect(http) == HTTP_STATUS_CONTINUE) httpWriteResponse(http, HTTP_STATUS_CONTINUE);
  for (ipp_state_t state = IPP_STATE_IDLE; state != IPP_STATE_DATA;) {
    state = ippRead(http, request.get());
    if (state == IPP_STATE_ERROR) return {nullptr, ippDelete};
  }
  if (httpGetState(http) == HTTP_STATE_POST_RECV) httpFlush(http);  // a document
  return request;
}

}  // namespace

FakePrintServer::FakePrintServer(Answers answers) : mAnswers(std::move(answers)) {
  auto listener = listenOn("127.0.0.1:0");
  if (!listener) throw std::runtime_error("no port is free");
  mListener = *std::move(listener);
  cupsSetServer(addressOf(mListener.get()).c_str());
  mServing = std::jthread([this](const std::stop_token& stop) { serve(stop); });
}

FakePrintServer::~FakePrintServer() { cupsSetServer(nullptr); }

std::vector<ipp_op_t> FakePrintServer::asked() const {
  const std::scoped_lock lock(mMutex);
  return mAsked;
}

// One connection after the other.
void FakePrintServer::serve(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    pollfd listener = {.fd = mListener.get(), .events = POLLIN, .revents = 0};
    if (::poll(&listener, 1, kBetweenLooks) != 1) continue;
    const Http http(httpAcceptConnection(mListener.get(), 1), httpClose);
    while (http != nullptr && !stop.stop_requested()) {
      if (httpWait(http.get(), kBetweenLooks) != 0 && !answerOneRequest(http.get())) break;
    }
  }
}

bool FakePrintServer::answerOneRequest(http_t* http) {
  const Message request = requestOf(http);
  if (request == nullptr) return false;
  const ipp_op_t operation = ippGetOperation(request.get());
  {
    const std::scoped_lock lock(mMutex);
    mAsked.push_back(operation);
  }
  const Message answer(ippNewResponse(request.get()), ippDelete);
  if (const auto known = mAnswers.find(operation); known != mAnswers.end()) {
    known->second(answer.get());
  } else {
    ippSetStatusCode(answer.get(), IPP_STATUS_ERROR_INTERNAL);
  }
  httpClearFields(http);
  httpSetKeepAlive(http, HTTP_KEEPALIVE_ON);
  httpSetField(http, HTTP_FIELD_CONTENT_TYPE, "application/ipp");
  httpSetLength(http, ippLength(answer.get()));
  return httpWriteResponse(http, HTTP_STATUS_OK) == 0 &&
         ippWrite(http, answer.get()) == IPP_STATE_DATA && httpFlushWrite(http) >= 0;
}

}  // namespace moxsupply::testing
