// Request: what the module keeps of a request between the calls of c-icap.
#pragma once

#include <memory>
#include <utility>

#include "Service.h"
#include "Transaction.h"

namespace sifterra::icap {

struct Request {
  std::shared_ptr<Service> service;  // a reconfiguration leaves the old one to those who use it
  Transaction transaction;
  bool ended = false;     // the proxy has sent all
  bool original = false;  // the proxy goes on with the body that it kept
  explicit Request(std::shared_ptr<Service> used) : service(std::move(used)), transaction(*service) {}
};

}  // namespace sifterra::icap
