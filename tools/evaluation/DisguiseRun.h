// DisguiseRun: the adult pages of an evaluation judged again under disguises.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "evaluation/DisguiseTexts.h"
#include "evaluation/EvaluatedPage.h"
#include "evaluation/disguises.h"
#include "evaluation/reports.h"

namespace sifterra::tools {

class DisguiseRun {
 public:
  // Every page of the evaluation, in order, with its text in UTF-8. Keeps that of the adult pages.
  void add(const EvaluatedPage& page, std::string html);

  // Whether a page of this UTF-8 is restricted; called by several threads at once.
  using Judge = std::function<bool(const std::string& html)>;
  // Called in between with the number of pages judged.
  using Progress = std::function<void(std::size_t judged, std::size_t all)>;
  // Once, when all pages are added. A disguise that needs ordinary text is left out, and named in
  // `leftOut`, where no page gives any.
  [[nodiscard]] std::vector<DisguiseFigures> judge(const std::vector<const Disguise*>& disguises,
                                                   std::size_t threads, const Judge& judge,
                                                   const Progress& progress,
                                                   std::vector<std::string>& leftOut);

 private:
  struct AdultPage {
    std::string html;
    std::string language;
    std::string kind;
    bool restricted;
  };
  [[nodiscard]] DisguiseFigures figuresOf(const Disguise& disguise, std::size_t threads, const Judge& judge,
                                          const std::function<void()>& progress) const;

  DisguiseTexts texts_;
  std::vector<AdultPage> pages_;
};

}  // namespace sifterra::tools
