// The gate that polling threads pass for every stretch in which they use the layer: a pool's lock, the log,
// its texts. A network call or a sleep is no such stretch. At the end main closes the gate; from then on the
// layer is main's alone, whatever the polling threads are doing, and nobody waits for a server.
#pragma once

namespace nimbolsp {

// One stretch, to the end of the scope. Enter it before any lock. A thread is in one at a time.
class LayerVisit {
 public:
  LayerVisit();
  ~LayerVisit();
  LayerVisit(const LayerVisit&) = delete;
  LayerVisit& operator=(const LayerVisit&) = delete;

  // False once the gate is closed: the process ends, and the layer must be left alone.
  explicit operator bool() const { return admitted_; }

 private:
  bool admitted_;
};

// Refuses visits from now on and waits until those under way are over. Call without any lock.
void closeLayerGate();

// Admits visits. It is closed until the layer has started.
void openLayerGate();

}  // namespace nimbolsp
