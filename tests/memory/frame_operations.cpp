#include <memory>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"

std::vector<Operation> frameOperations() {
    std::vector<Operation> operations;
    operations.push_back({"TProgress_start", [] {
                              const auto progress = std::make_shared<TProgress>();
                              return Attempt{[=] { progress->start(0.5f); },
                                             [=] {
                                                 Seen seen;
                                                 for (int total : progress->m_totals) seen.value(total);
                                                 for (int value : progress->m_values) seen.value(value);
                                                 for (float weight : progress->m_weights) seen.value(weight);
                                                 return seen;
                                             }};
                          }});
    operations.push_back({"TProgress_TProgress", [] {
                              return Attempt{[] { TProgress progress; }, [] { return Seen(); }};
                          }});
    operations.push_back({"Kestrova_traceMsg", [] {
                              const auto text = std::make_shared<std::string>();
                              return Attempt{
                                  [=] { *text = Kestrova::traceMsg("a function of some length", 12, "a message"); },
                                  [=] { return Seen().value(text->empty()); }};
                          }});
    document(Thrown::kTextOrAllocators, {"TProgress", "Kestrova_traceMsg"}, operations);
    return operations;
}
