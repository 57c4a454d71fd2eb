// Counts in MPI are of type int: what may be larger goes in pieces.
#include "mpi_train/MpiReduction.h"

#include <mpi.h>

#include <algorithm>

namespace sifterra::tools {
namespace {

constexpr std::size_t kPiece = std::size_t{1} << 28U;

void broadcastBytes(char* bytes, std::size_t size) {
  for (std::size_t at = 0; at < size; at += kPiece)
    MPI_Bcast(bytes + at, static_cast<int>(std::min(kPiece, size - at)), MPI_BYTE, 0, MPI_COMM_WORLD);
}

// Sends to one process while it receives from another, or the same.
std::string passOn(const std::string& bytes, int to, int from) {
  std::uint64_t sending = bytes.size();
  std::uint64_t receiving = 0;
  MPI_Sendrecv(&sending, 1, MPI_UINT64_T, to, 0, &receiving, 1, MPI_UINT64_T, from, 0, MPI_COMM_WORLD,
               MPI_STATUS_IGNORE);
  std::string received(receiving, '\0');
  for (std::size_t at = 0; at < std::max(sending, receiving); at += kPiece) {
    const auto piece = [at](std::size_t size) {
      return static_cast<int>(at < size ? std::min(kPiece, size - at) : 0);
    };
    MPI_Sendrecv(bytes.data() + std::min<std::size_t>(at, sending), piece(sending), MPI_BYTE, to, 1,
                 received.data() + std::min<std::size_t>(at, receiving), piece(receiving), MPI_BYTE, from, 1,
                 MPI_COMM_WORLD, MPI_STATUS_IGNORE);
  }
  return received;
}

}  // namespace

MpiSession::MpiSession(int& argc, char**& argv) {
  int provided = 0;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
}

MpiSession::~MpiSession() {
  MPI_Finalize();
}

void MpiSession::giveUp() {
  MPI_Abort(MPI_COMM_WORLD, 2);
}

MpiReduction::MpiReduction() {
  MPI_Comm_rank(MPI_COMM_WORLD, &_rank);
  MPI_Comm_size(MPI_COMM_WORLD, &_size);
}

// Summed in one place and sent from there: MPI does not promise that every process would add in the same
// order.
void MpiReduction::sum(double* values, std::size_t count) const {
  const std::size_t bytes = count * sizeof(double);
  ++_traffic.sums;
  _traffic.sumBytes += bytes;
  ++_traffic.sumsBySize[bytes];
  for (std::size_t at = 0; at < count; at += kPiece) {
    const auto piece = static_cast<int>(std::min(kPiece, count - at));
    MPI_Reduce(_rank == 0 ? MPI_IN_PLACE : values + at, values + at, piece, MPI_DOUBLE, MPI_SUM, 0,
               MPI_COMM_WORLD);
    MPI_Bcast(values + at, piece, MPI_DOUBLE, 0, MPI_COMM_WORLD);
  }
}

std::vector<std::string> MpiReduction::gather(std::string bytes) const {
  if (_rank != 0) {
    _traffic.otherBytes += bytes.size();
    (void)passOn(bytes, 0, 0);
    return {};
  }
  std::vector<std::string> all;
  all.push_back(std::move(bytes));
  for (int other = 1; other < _size; ++other) all.push_back(passOn({}, other, other));
  return all;
}

std::string MpiReduction::broadcast(std::string bytes) const {
  std::uint64_t size = bytes.size();
  MPI_Bcast(&size, 1, MPI_UINT64_T, 0, MPI_COMM_WORLD);
  bytes.resize(size);
  broadcastBytes(bytes.data(), bytes.size());
  return bytes;
}

std::vector<std::string> MpiReduction::exchange(std::vector<std::string> parts) const {
  std::vector<std::string> received(parts.size());
  received[rank()] = std::move(parts[rank()]);
  for (int step = 1; step < _size; ++step) {
    const int to = (_rank + step) % _size;
    const int from = (_rank + _size - step) % _size;
    std::string& part = parts[static_cast<std::size_t>(to)];
    _traffic.otherBytes += part.size();
    received[static_cast<std::size_t>(from)] = passOn(part, to, from);
    part = std::string();
  }
  return received;
}

}  // namespace sifterra::tools
