// The ways in which an input's bytes become its result's. All give the same bytes; they differ in
// what they can take and in what they cost.
//
// An input comes by blocks. A road takes from the front of what is there as much as it can decide
// on, tells the sink what becomes of it, and is given the rest again with more behind it.
#pragma once

#include "tool/file_result.h"
#include "tool/run.h"
#include "util/conv/loss.h"

#include <memory>
#include <string_view>

namespace Quil {

/// What is at hand of an input. A road may write on it, and over what it has left of it as well.
struct BLOCK {
    char* data;
    std::size_t length;
    bool isLast; ///< Nothing comes behind it.
};

/// Where a result goes.
class ISink {
public:
    virtual ~ISink() = default;

    /// The next bytes of the input are bytes of the result.
    virtual void Keep(std::string_view bytes) = 0;
    /// The next bytes of the input, which were `old`, give way to `bytes`.
    virtual void Replace(std::string_view old, std::string_view bytes) = 0;
};

/// What is wanted of the next input.
struct TASK {
    enum class RESULT { NONE, FILE, OUTPUT };

    /// NONE: only whether something is found; the sink may be told anything then.
    RESULT result = RESULT::NONE;
    /// Bytes of the input, about; 0 if that isn't known.
    std::uint64_t size = 0;
    /// Where it begins: 0, or in the middle, at a place where a road that `CanResume` stood.
    std::uint64_t place = 0;
    /// The input is that of the task before, from which the road may know it.
    bool isAgain = false;
};

/// What a way couldn't take over. As far as it can tell: libraries that drop what they can't
/// convert don't.
struct LOSSES {
    LOSS undecoded;               ///< bytes of the input
    LOSS unencoded;               ///< characters of the result
    std::uint64_t characters = 0; ///< of the input
};

/// A way from an input to its result, one input after the other. For one thread.
class IRoad {
public:
    virtual ~IRoad() = default;

    virtual void Start(const TASK& task) = 0;

    /// Takes bytes from the front of the block and answers how many: all of the last one, of
    /// another those that are decided on.
    virtual std::size_t Take(const BLOCK& block, ISink& sink) = 0;

    /// The number of replacements so far.
    virtual unsigned long GetCount() const = 0;
    /// Adds how often each rule was met so far, where the run has rules.
    virtual void AddRuleCounts(RULE_MATCHES& matches) const = 0;
    /// Whether the input has any text, as far as it was taken.
    virtual bool HasText() const = 0;

    /// True once the result differs from the input: up to the last block it didn't.
    virtual bool HasChanged() const = 0;
    /// Whether it takes nothing before it has the input as a whole.
    virtual bool WantsAll() const { return false; }
    /// Whether the road can begin in the middle.
    virtual bool CanResume() const = 0;
    /// Bytes that the result of the task has at most. No more than its size if nothing ever grows.
    virtual std::uint64_t GetMostBytes(std::uint64_t size) const = 0;
    /// Whether no replacement is longer or shorter than what it replaces.
    virtual bool KeepsPlaces() const { return false; }
    /// What was lost since the start.
    virtual LOSSES GetLosses() const = 0;
};

/// Appends the rules that were met; null has none.
void AddMet(RULE_MATCHES& matches, const CRuleCounts* counts);

/// Whether only what is matched can change in the run's files, whatever bytes they hold.
bool CanKeepBytes(const Run& run);

/// The best road that serves every input of this run. It refers to the run. One thread has it.
std::unique_ptr<IRoad> ChooseRoad(const Run& run);

} // namespace Quil
