#include "Clock.h"

#include <chrono>
#include <cmath>

namespace tavik::station {

Milliseconds now() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

Milliseconds millisecondsOf(Date date) {
  return static_cast<Milliseconds>(std::floor(date.secondsSinceEpoch() * 1000));
}

}  // namespace tavik::station
