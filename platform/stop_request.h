#pragma once

namespace tavrine {

/// Tells those who wait for the user that they shall wait no longer. Raised once and for good, by any thread; whoever
/// waits on a terminal or for input is woken. Neither says why nor stops anything itself.
class StopRequest final {
 public:
  /// Throws `std::system_error`.
  StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;
  ~StopRequest();

  /// Never fails and never waits.
  void raise();
  bool isRaised() const;

  /// What a wait inside the platform looks at; means nothing elsewhere.
  int waitHandle() const { return handle_; }

 private:
  int handle_;
};

}  // namespace tavrine
