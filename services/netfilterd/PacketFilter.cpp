#include "PacketFilter.h"

#include <nftables/libnftables.h>

#include <stdexcept>

#include "ruleset.h"

namespace sifterra::netfilterd {

void PacketFilter::Free::operator()(nft_ctx* context) const noexcept {
  nft_ctx_free(context);
}

PacketFilter::PacketFilter() : _context(nft_ctx_new(NFT_CTX_DEFAULT)) {
  if (!_context) throw std::runtime_error("no memory for the packet filter");
  nft_ctx_buffer_output(_context.get());
  nft_ctx_buffer_error(_context.get());
  // Numbers stay numbers: names of users and ports would need look-ups and differ between machines.
  nft_ctx_output_set_flags(_context.get(), NFT_CTX_OUTPUT_NUMERIC_ALL);
}

PacketFilter::~PacketFilter() = default;

bool PacketFilter::run(const std::string& commands) {
  if (nft_run_cmd_from_buffer(_context.get(), commands.c_str()) == 0) return true;
  const char* error = nft_ctx_get_error_buffer(_context.get());
  _problem = error == nullptr ? "" : error;
  _problem = _problem.substr(0, _problem.find('\n'));
  if (_problem.empty()) _problem = "the packet filter refused without a reason";
  return false;
}

std::string PacketFilter::table() {
  if (!run(std::string("list table ") + kTable)) return {};
  const char* output = nft_ctx_get_output_buffer(_context.get());
  return output == nullptr ? "" : output;
}

bool PacketFilter::removeTable() {
  return run(std::string("add table ") + kTable + "\ndelete table " + kTable + '\n');
}

}  // namespace sifterra::netfilterd
