// What is served: which path gives what, as which type. Decides without a socket. The bodies are made from
// the picture when somebody asks, and once for all who ask at that time. Belongs to one thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tools/polling/monitor.h"

namespace nimbolsp::tools {

using Body = std::shared_ptr<const std::string>;

struct Reply {
  unsigned status = 200;
  std::string type = "text/plain; charset=utf-8";
  Body body;
  bool tellsMethods = false;  // has to name the methods that are allowed
  bool isPage = false;        // the status page, whose script and style may run
};

class Pages {
 public:
  using PictureSource = std::function<std::shared_ptr<const Picture>()>;

  // A picture is looked at again after this time at the earliest: the work is bounded, however many ask.
  static constexpr std::chrono::milliseconds kShortestLife{250};

  //   anyName  answer whatever host name the client used. Else only addresses and "localhost" are answered,
  //            so that no foreign page can reach this one by a name that it lets point here.
  Pages(PictureSource picture, bool anyName);

  //   host  the request's header; empty when it had none
  Reply answer(std::string_view method, std::string_view path, std::string_view host);

 private:
  const Picture& picture();
  Reply health();

  const PictureSource source_;
  const bool anyName_;
  const Body page_;
  std::shared_ptr<const Picture> picture_;
  std::chrono::steady_clock::time_point taken_;
  Body json_, metrics_;  // of picture_; null until asked for
};

}  // namespace nimbolsp::tools
