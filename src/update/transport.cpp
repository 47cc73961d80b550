#include "update/transport.hpp"

#include <curl/curl.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

#include "util/util.hpp"

namespace mbupdate {

namespace {

// Curl's own timers and the stop signal end a poll earlier; this bounds it without a signal.
constexpr int kPollMs = 1000;

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using Multi = std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)>;
using Headers = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

struct Transfer {
    const Sink& sink;
    std::string& error;
    uint64_t expected = 0;  // what the server announced; 0 when it did not
    uint64_t received = 0;
    bool stopped = false;  // by the sink
};

bool initialised() {
    static const CURLcode result = curl_global_init(CURL_GLOBAL_ALL);
    return result == CURLE_OK;
}

// Sees the headers of every answer on the way: of proxies and redirects as well.
size_t readHeader(char* data, size_t size, size_t count, void* given) {
    constexpr std::string_view kLength = "content-length:";
    Transfer& transfer = *static_cast<Transfer*>(given);
    try {
        const std::string line = mbutil::lowerCase({data, size * count});
        if (mbutil::startsWith(line, "http/")) transfer.expected = 0;
        if (mbutil::startsWith(line, kLength))
            transfer.expected = std::strtoull(line.c_str() + kLength.size(), nullptr, 10);
    } catch (const std::bad_alloc&) {
        // The announced size is for display only.
    }
    return size * count;
}

// Nothing may be raised through the library's frames.
size_t writeBody(char* data, size_t size, size_t count, void* given) {
    Transfer& transfer = *static_cast<Transfer*>(given);
    const size_t length = size * count;
    transfer.received += length;
    const uint64_t total = transfer.expected != 0 ? transfer.expected : transfer.received;
    bool wanted = false;
    try {
        wanted = transfer.sink(data, length, total);
    } catch (const std::bad_alloc&) {
        transfer.error = "out of memory";
    }
    if (wanted) return length;
    transfer.stopped = true;
    return 0;
}

void setOptions(CURL* easy, const std::string& url, curl_slist* headers, Transfer& transfer,
                const TransportLimits& limits) {
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "MarlinBench-Updater");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "https");
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, limits.connectSeconds);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, limits.lowSpeedBytes);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, limits.lowSpeedSeconds);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // Else a transfer that is broken off waits for the end of its name lookup.
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, writeBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, readHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
}

CURLcode resultOf(CURLM* multi) {
    int left = 0;
    const CURLMsg* message = curl_multi_info_read(multi, &left);
    return message != nullptr && message->msg == CURLMSG_DONE ? message->data.result
                                                              : CURLE_ABORTED_BY_CALLBACK;
}

// What curl_easy_perform() does, but woken by the signal: on its own it looks up once a second.
CURLcode perform(CURLM* multi, CURL* easy, const StopSignal& stop) {
    if (curl_multi_add_handle(multi, easy) != CURLM_OK) return CURLE_FAILED_INIT;
    curl_waitfd wake = {};
    wake.fd = stop.descriptor();
    wake.events = CURL_WAIT_POLLIN;
    int running = 1;
    while (!stop.raised()) {
        if (curl_multi_perform(multi, &running) != CURLM_OK || running == 0) break;
        if (curl_multi_poll(multi, &wake, wake.fd >= 0 ? 1 : 0, kPollMs, nullptr) != CURLM_OK)
            break;
    }
    const CURLcode result = resultOf(multi);
    curl_multi_remove_handle(multi, easy);
    return result;
}

std::string reasonFor(const Transfer& transfer, CURLcode result, long status) {
    if (status == 404) return "no release has been published there yet";
    if (transfer.stopped) return "the download was interrupted";
    if (result != CURLE_OK)
        return std::string("the update request failed: ") + curl_easy_strerror(result);
    return "the update server answered " + std::to_string(status);
}

}  // namespace

bool httpGet(const std::string& url, const Sink& sink, const StopSignal& stop, std::string& error,
             const TransportLimits& limits) {
    if (!mbutil::startsWith(url, "https://")) {
        error = "refusing a plain http update url";
        return false;
    }
    const bool ready = initialised();
    // In this order, so that the multi handle goes first.
    Headers headers(nullptr, &curl_slist_free_all);
    Easy easy(ready ? curl_easy_init() : nullptr, &curl_easy_cleanup);
    Multi multi(easy ? curl_multi_init() : nullptr, &curl_multi_cleanup);
    if (!multi) {
        error = "could not start libcurl";
        return false;
    }
    headers.reset(curl_slist_append(nullptr, "Cache-Control: no-cache"));
    curl_slist_append(headers.get(), "Pragma: no-cache");
    Transfer transfer{sink, error};
    setOptions(easy.get(), url, headers.get(), transfer, limits);
    const CURLcode result = perform(multi.get(), easy.get(), stop);
    long status = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    if (result == CURLE_OK && status == 200) return true;
    if (error.empty()) error = reasonFor(transfer, result, status);
    return false;
}

}  // namespace mbupdate
