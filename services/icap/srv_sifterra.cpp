// srv_sifterra: the module that c-icap loads. Turns its callbacks into steps of a Transaction and back.
//
// A request begins with its headers and, from proxies that send one, a preview of the body; c-icap then hands
// over the body in pieces, and asks for the answer's in pieces, until both have ended. Nothing is thrown to
// c-icap.
#include <c_icap/c-icap.h>
#include <c_icap/commands.h>
#include <c_icap/debug.h>
#include <c_icap/request.h>
#include <c_icap/service.h>
#include <c_icap/simple_api.h>
#include <c_icap/stats.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "Counters.h"
#include "Request.h"
#include "Service.h"
#include "directives.h"
#include "request_answers.h"
#include "request_headers.h"
#include "server_memory.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/sifterra.h"

namespace {

using namespace sifterra::icap;
using Step = Transaction::Step;

constexpr char kName[] = "sifterra";
constexpr int kPreviewBytes = 32768;  // most pages fit, as they are sent: they cost no second round trip
constexpr time_t kMetricsSeconds = 10;

void logLine(const std::string& line) {
  ci_debug_printf(1, "sifterra: %s\n", line.c_str());
}

// The counters of c-icap's own statistics, by the service's.
class ServerStatistics final : public CountListener {
 public:
  void registerAll() {
    std::string group = std::string("Service ") + kName;
    for (std::size_t counter = 0; counter < Counters::kNumber; ++counter) {
      std::string label = group + " " + Counters::nameOf(counter);
      identifiers_[counter] = ci_stat_entry_register(label.data(), STAT_INT64_T, group.data());
    }
  }
  void counted(std::size_t counter, std::uint64_t amount) override {
    ci_stat_uint64_inc(identifiers_[counter], static_cast<int>(amount));
  }

 private:
  int identifiers_[Counters::kNumber] = {};
};

// Never destroyed: requests may still run while the process exits. The library stays loaded (see
// CMakeLists.txt), so that all of it survives a reconfiguration of the server.
struct Module {
  std::unique_ptr<Counters> counters;
  ServerStatistics statistics;
  std::shared_ptr<Service> service;
  int previewBytes = -1;
  bool startedOnce = false;
  bool metricsFailed = false;
};
Module& module() {
  static auto& module = *new Module;
  return module;
}

template <class Body>
int guarded(int failure, Body body) noexcept {
  try {
    return body();
  } catch (const std::exception& problem) {
    ci_debug_printf(1, "sifterra: a request failed: %s\n", problem.what());
  } catch (...) {
    ci_debug_printf(1, "sifterra: a request failed\n");
  }
  return failure;
}

// Every few seconds, in the process that starts all others.
void writeMetrics(const char* name, int, void* data) {
  guarded(CI_ERROR, [&] {
    const std::string& path = configuredSettings().metricsPath;
    const bool failed = !module().counters->writePrometheus(path);
    if (failed && !module().metricsFailed) logLine("the metrics file " + path + " cannot be written");
    module().metricsFailed = failed;
    ci_command_schedule(name, data, kMetricsSeconds);
    return CI_OK;
  });
}

void scheduleMetrics() {
  if (configuredSettings().metricsPath.empty()) return;
  ci_command_register_action("sifterra-metrics", CI_CMD_MONITOR_ONDEMAND, nullptr, writeMetrics);
  writeMetrics("sifterra-metrics", 0, nullptr);
}

// Tells proxies when answers that they keep no longer hold: another map, another version, other settings.
void setTag(ci_service_xdata_t* data) {
  struct stat status {};
  const auto path = sifterra::WFJudge::defaultLSMMapPath();
  if (path) stat(path.toUTF8().c_str(), &status);
  const std::string what = std::string(WFVersion()) + " " + std::to_string(status.st_size) + " " +
                           std::to_string(status.st_mtim.tv_sec) + " " +
                           std::to_string(configuredSettings().textLimit);
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char c : what) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  char tag[32];
  std::snprintf(tag, sizeof tag, "sifterra-%016" PRIx64, hash);
  ci_service_set_istag(data, tag);
}

// How much of a body the proxy sends first. Not at "?preview=off": a proxy that reads no further while it
// waits for the answer to a preview sends there what will be judged whole.
int announcePreview(ci_request_t* request) {
  return guarded(CI_ERROR, [&] {
    const int size = module().previewBytes;
    if (size < 0 || std::string_view(request->args) == "preview=off") return CI_OK;
    const std::string preview = "Preview: " + std::to_string(size);
    const bool added = ci_icap_add_xheader(request, preview.c_str()) != nullptr &&
                       ci_icap_add_xheader(request, "Transfer-Preview: *") != nullptr;
    return added ? CI_OK : CI_ERROR;
  });
}

// In the process that starts all others, while the configuration is read.
int initService(ci_service_xdata_t* data, ci_server_conf*) {
  return guarded(CI_ERROR, [&] {
    tuneAllocator();
    configuredSettings() = Settings();
    WFSetLogLevel(WFLogLevelOff);  // it tells addresses of which it can make nothing
    if (!module().counters) module().counters = std::make_unique<Counters>();
    module().statistics.registerAll();
    module().counters->setListener(&module().statistics);
    ci_service_set_preview(data, kPreviewBytes);
    ci_service_enable_204(data);
    ci_service_enable_206(data);
    ci_service_add_option_handler(data, "sifterra-preview", announcePreview);
    ci_service_set_xopts(data, CI_XCLIENTIP | CI_XAUTHENTICATEDUSER);
    return CI_OK;
  });
}

// When the configuration has been read. Without a map there is no service: at the start the server ends, at a
// reconfiguration every request gets an error until the next one.
int postInitService(ci_service_xdata_t* data, ci_server_conf* configuration) {
  return guarded(CI_ERROR, [&] {
    auto service = std::make_shared<Service>(configuredSettings(), module().counters.get(), logLine);
    const std::string problem = service->start();
    if (!problem.empty()) {
      logLine("cannot start: " + problem);
      if (module().startedOnce) return CI_ERROR;
      std::fprintf(stderr, "sifterra: cannot start: %s\n", problem.c_str());
      if (configuration && configuration->PIDFILE) unlink(configuration->PIDFILE);
      std::exit(EXIT_FAILURE);
    }
    module().service = std::move(service);
    module().startedOnce = true;
    logLine("ready");
    setTag(data);
    // c-icap would announce one size to all who ask: from here on announcePreview() does it.
    module().previewBytes = data->preview_size;
    ci_service_set_preview(data, -1);
    scheduleMetrics();
    return CI_OK;
  });
}

void closeService() {
  guarded(CI_ERROR, [] {
    const std::string& path = configuredSettings().metricsPath;
    if (module().service && !path.empty()) static_cast<void>(module().counters->writePrometheus(path));
    module().service.reset();
    return CI_OK;
  });
}

void* initRequest(ci_request_t* request) {
  if (ci_req_type(request) == ICAP_OPTIONS) return nullptr;
  void* data = nullptr;
  guarded(CI_ERROR, [&] {
    if (module().service) data = new Request(module().service);
    return CI_OK;
  });
  return data;
}

void releaseRequest(void* data) {
  delete static_cast<Request*>(data);
  trimMemory();
}

int checkPreview(char* bytes, int length, ci_request_t* request) {
  auto* data = static_cast<Request*>(ci_service_data(request));
  if (!data) return CI_ERROR;
  return guarded(CI_ERROR, [&] {
    const HttpMessage message = messageOf(request);
    const Step step = data->transaction.begin(message);
    const bool all = ci_req_hasalldata(request) != 0;
    data->ended = all || !ci_req_hasbody(request);
    const std::string_view preview =
        bytes && length > 0 ? std::string_view(bytes, static_cast<std::size_t>(length)) : std::string_view();
    if (step == Step::More && (!preview.empty() || all)) data->transaction.add(preview, all);
    return answerPreview(request, data, message);
  });
}

int serviceIo(char* out, int* outLength, char* in, int* inLength, int isEnd, ci_request_t* request) {
  auto* data = static_cast<Request*>(ci_service_data(request));
  if (!data) return CI_ERROR;
  return guarded(CI_ERROR, [&] {
    if (isEnd) data->ended = true;
    if (in && inLength && *inLength > 0) {
      const std::string_view bytes(in, static_cast<std::size_t>(*inLength));
      if (data->transaction.step() == Step::More) {
        data->transaction.add(bytes, false);
        answerLater(request, data);
      } else if (!data->original) {
        *inLength = static_cast<int>(data->transaction.relay(bytes));
      }
    }
    if (out && outLength) {
      const int room = *outLength;
      *outLength = 0;
      if (data->transaction.step() != Step::More && !data->original && room > 0)
        *outLength = static_cast<int>(data->transaction.takeOutput(out, static_cast<std::size_t>(room)));
      const bool complete = data->transaction.step() == Step::Refuse || data->ended || data->original;
      // Without room for anything it is not known whether anything is left.
      if (room > 0 && *outLength == 0 && data->transaction.step() != Step::More && complete)
        *outLength = CI_EOF;
    }
    return CI_OK;
  });
}

int endOfData(ci_request_t* request) {
  auto* data = static_cast<Request*>(ci_service_data(request));
  if (!data) return CI_ERROR;
  return guarded(CI_ERROR, [&] {
    data->ended = true;
    if (data->transaction.step() == Step::More) {
      data->transaction.add({}, true);
      answerLater(request, data);
      if (data->transaction.step() == Step::Pass && ci_req_allow204(request)) return CI_MOD_ALLOW204;
    }
    return CI_MOD_DONE;
  });
}

}  // namespace

extern "C" {

// Constant from the start: c-icap loads modules into one name space, where "service" is the first one's.
CI_DECLARE_MOD_DATA constinit ci_service_module_t service = {
    kName,
    "Sifterra web content filter",
    ICAP_RESPMOD | ICAP_REQMOD,
    initService,
    postInitService,
    closeService,
    initRequest,
    releaseRequest,
    checkPreview,
    endOfData,
    serviceIo,
    directiveTable,
    nullptr,
};

}  // extern "C"
