/// What the scan needs of the transport-stream filter, which is in a room above: the guide owns the interface, the
/// filter implements it.
#pragma once

/// The filter as the scan sees it.
class ScanFilter {
 public:
    /// Stops the filter and all streams; with `enter` true starts the filter afresh, with the PAT version forgotten.
    /// Called on the scan thread. \return true
    virtual bool EnterScanMode(bool enter) = 0;

 protected:
    ~ScanFilter() = default;
};
