#ifndef OVRA_QUEUE_TABLE_H
#define OVRA_QUEUE_TABLE_H

#include <memory>

#include "ovra/queue.h"

namespace kiv::transport {

// The queues of this process, by their numbers.
namespace queue_table {

queue *find(int number);
int add(std::unique_ptr<queue> opened); // its number
std::unique_ptr<queue> take(int number);

} // namespace queue_table

} // namespace kiv::transport

#endif
