// A print filter that asks its printer for the supplies: the smallest host of the module.
//
// Build it against the installed module:
//   c++ -std=c++20 host.cc $(pkg-config --cflags --libs moxsupply) -o host
//
// In a filter chain, standard output leads to the printer and descriptor 3 brings its answers.

#include <front/MoxFilter.h>

#include <cstdio>
#include <cstdlib>
#include <string>

using moxsupply::Dictionary;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: host Laser|Inkjet usb|socket|mdns|dnssd\n");
    return 2;
  }
  // A link that goes away should fail the write, not only the flush after it.
  std::setvbuf(stdout, nullptr, _IONBF, 0);

  const auto filter = MoxFilter::initWithPrinterType(argv[1], argv[2], /*withTimeout=*/2);
  if (filter == nullptr) {
    std::fprintf(stderr, "host: no such printer type or transport\n");
    return 2;
  }

  Dictionary report;
  const moxsupply::Status status = filter->inkStatusQuery(&report);
  if (status != moxsupply::Status::kSuccess) {
    std::fprintf(stderr, "host: the query failed with status %d\n",
                 moxsupply::signedNumber(status));
    return 1;
  }
  for (int i = 1; i <= report.number("SupplyCount"); ++i) {
    const auto* supply = report.get<Dictionary>({"Supply", i});
    const auto* name = supply == nullptr ? nullptr : supply->get<std::string>("SupplyName");
    if (name == nullptr) continue;
    std::fprintf(stderr, "%s: %d\n", name->c_str(), supply->number("SupplyPercentage"));
  }
  return 0;
}
