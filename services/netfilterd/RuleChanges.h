// RuleChanges: what the kernel tells of changes to the packet filter's rules.
#pragma once

namespace sifterra::netfilterd {

class RuleChanges {
 public:
  RuleChanges();
  ~RuleChanges();
  RuleChanges(const RuleChanges&) = delete;
  RuleChanges& operator=(const RuleChanges&) = delete;

  // Readable when somebody changed rules; -1 where the kernel does not tell.
  [[nodiscard]] int descriptor() const noexcept { return _descriptor; }
  // Takes what was told.
  void drain() const;

 private:
  int _descriptor;
};

}  // namespace sifterra::netfilterd
