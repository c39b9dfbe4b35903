#pragma once

#include "CScanKit/sg_scan.h"

#include <memory>

// The walker's result and cancel word for one scan, shared by the scanning thread, the
// poll and the stream's cancellation. Frees the walker's arrays when it goes.
class LiveScanState {
public:
    LiveScanState();
    ~LiveScanState();
    LiveScanState(const LiveScanState&) = delete;
    LiveScanState& operator=(const LiveScanState&) = delete;

    sg_scan_result_t* scanResult() { return scanResult_.get(); }
    int32_t* cancelFlag() { return cancelFlag_.get(); }
    // Frees the arrays early, once nothing reads them any more; the counters stay.
    void releaseNodes();

private:
    std::unique_ptr<sg_scan_result_t> scanResult_;
    std::unique_ptr<int32_t> cancelFlag_;
};
