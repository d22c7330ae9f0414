#include "photocloud/api/metrics.h"

#include <sstream>

namespace photocloud {
namespace {

void Write(std::ostream& out, const char* name, const char* type, std::int64_t value) {
  out << "# TYPE " << name << ' ' << type << '\n' << name << ' ' << value << '\n';
}

}  // namespace

void Metrics::CountRequest(const std::string& method, const std::string& route, int status, double seconds) {
  const MutexLock guard(seriesLock);
  Series& entry = series[{method, route, status}];
  entry.count += 1;
  entry.seconds += seconds;
}

std::string Metrics::Text(std::size_t pushStreams) const {
  std::ostringstream counts;
  std::ostringstream times;
  counts << "# TYPE photocloud_requests_total counter\n";
  times << "# TYPE photocloud_request_seconds_total counter\n";
  {
    const MutexLock guard(seriesLock);
    for (const auto& [key, entry] : series) {
      const auto& [method, route, status] = key;
      std::ostringstream labels;
      labels << "{method=\"" << method << "\",route=\"" << route << "\",status=\"" << status << "\"} ";
      counts << "photocloud_requests_total" << labels.str() << entry.count << '\n';
      times << "photocloud_request_seconds_total" << labels.str() << entry.seconds << '\n';
    }
  }
  std::ostringstream text;
  text << counts.str() << times.str();
  Write(text, "photocloud_connections", "gauge", connections);
  Write(text, "photocloud_push_streams", "gauge", static_cast<std::int64_t>(pushStreams));
  Write(text, "photocloud_received_bytes_total", "counter", bytesIn);
  Write(text, "photocloud_sent_bytes_total", "counter", bytesOut);
  return text.str();
}

}  // namespace photocloud
