// TransactionFixture: a transaction of a service with a root of its own, and a page that is asked for.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Transaction.h"
#include "services/icap/fixture.h"
#include "sifterra/sifterra.h"

namespace sifterra::icap {

class TransactionFixture : public testing::Test {
 protected:
  TransactionFixture() {
    WFSetLogLevel(WFLogLevelOff);
    settings_.root = directory_.path();
    message_.requestLine = "GET http://example.com/page HTTP/1.1";
    message_.hasBody = true;
    message_.contentTypes = {"text/html; charset=utf-8"};
  }
  ~TransactionFixture() override { WFSetFileSystemRoot(""); }

  Transaction& begin() {
    if (!service_) {
      service_ = std::make_unique<Service>(settings_, &counters_, [](const std::string&) {});
      EXPECT_EQ(service_->start(), "");
    }
    transaction_ = std::make_unique<Transaction>(*service_);
    transaction_->begin(message_);
    return *transaction_;
  }

  // What becomes of a body that arrives in pieces.
  Transaction& send(std::string_view body, std::size_t step = 4096) {
    Transaction& transaction = begin();
    while (transaction.step() == Transaction::Step::More && !body.empty()) {
      transaction.add(body.substr(0, step), false);
      body.remove_prefix(std::min(step, body.size()));
    }
    if (transaction.step() == Transaction::Step::More) transaction.add({}, true);
    return transaction;
  }

  std::uint64_t count(Count counter) const { return counters_.at(static_cast<std::size_t>(counter)); }

  TemporaryDirectory directory_;
  Settings settings_;
  HttpMessage message_;
  Counters counters_;
  std::unique_ptr<Service> service_;
  std::unique_ptr<Transaction> transaction_;
};

}  // namespace sifterra::icap
