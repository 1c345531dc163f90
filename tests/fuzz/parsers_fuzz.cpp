// What people and other programs write for the companion: it is refused with a sentence, or what it was taken
// for, written anew, is taken for the same. The first byte chooses.
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/temp_folder.h"
#include "tools/change_script.h"
#include "tools/http/listen_address.h"
#include "tools/load_report.h"
#include "tools/nearest.h"
#include "tools/tcp_table.h"

using namespace nimbolsp::tools;

void fuzz(FuzzInput input) try {
  static const TempFolder& folder = *new TempFolder;
  const ServerOptions plain = parseServerOptions("5912,used=1,limit=9");
  const int choice = input.byte();
  const std::string text = input.rest();
  if (choice % 6 == 0) {
    const ServerOptions server = parseServerOptions(text);
    MUST(parseServerOptions(server.address.text() + "," + describe(server)) == server);
    MUST(changed(plain, text.substr(text.find(',') + 1), choice).address == plain.address);
  } else if (choice % 6 == 1) {
    const ChangeScript script = readChangeScript(text, "script", repeated(plain, 3));
    for (const Change& change : script.changes) {
      MUST(change.time >= script.changes.front().time && change.server.value_or(0) < 3);
      if (script.faults.empty()) changed(plain, change.keys, change.time);
    }
  } else if (choice % 6 == 2) {
    const LoadReport report = parseLoadReport(text, choice);
    const nimbolsp::Statistics told = changed(plain, serverKeys(report), 0).statistics;
    MUST(report.used >= 0 && told.loadUsed == report.used && told.loadLimit == report.limit);
  } else if (choice % 6 == 3) {
    std::ptrdiff_t lines = std::ranges::count(text, '\n');
    forEachTcpSocket(folder.write("tcp", text), [&lines](const TcpTableRow&) { MUST(lines-- > 0); });
  } else if (choice % 6 == 4) {
    const std::string address = parseListenAddress(text).text();
    MUST(parseListenAddress(address).text() == address);
  } else {
    MUST(text.size() > 64 || text.empty() || nearestWord(text, {"used", "limit", text}) == text);
    const SimulatedAddress address = parseAddress(text, 0x7F000002);
    MUST(parseAddress(address.text(), 0) == address);
  }
} catch (const std::invalid_argument& refusal) {
  MUST(*refusal.what() != '\0');
}
