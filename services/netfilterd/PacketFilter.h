// PacketFilter: the kernel's packet filter, through libnftables.
#pragma once

#include <memory>
#include <string>

struct nft_ctx;

namespace sifterra::netfilterd {

class PacketFilter {
 public:
  PacketFilter();
  ~PacketFilter();

  // Runs commands as one transaction: all of them or none.
  [[nodiscard]] bool run(const std::string& commands);
  // The table as the kernel has it, or empty when there is none.
  [[nodiscard]] std::string table();
  // Takes the table away. True when it is gone, also when there was none.
  [[nodiscard]] bool removeTable();
  // Why the last call that answered false went wrong, on one line.
  [[nodiscard]] const std::string& problem() const noexcept { return _problem; }

 private:
  struct Free {
    void operator()(nft_ctx* context) const noexcept;
  };
  std::unique_ptr<nft_ctx, Free> _context;
  std::string _problem;
};

}  // namespace sifterra::netfilterd
