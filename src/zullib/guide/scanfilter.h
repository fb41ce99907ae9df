/// The scan's interface to the transport-stream filter, which implements it in the room above.
#pragma once

/// The filter as the scan sees it.
class ScanFilter {
 public:
    /// Stops the filter and all streams; with `enter` true restarts the filter, without a known PAT version.
    /// Called on the scan thread. \return true
    virtual bool EnterScanMode(bool enter) = 0;
    virtual ~ScanFilter() = default;
};
