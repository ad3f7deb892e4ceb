#include "monitor/doctor/linux/ruleset.h"

#include <algorithm>

namespace monitor::doctor {
namespace {

constexpr int kDeepest = 32;  ///< Jumps in jumps; the kernel allows 16.

class Walk {
public:
    explicit Walk(const Ruleset& ruleset) : m_ruleset(ruleset) {}

    Decision through(const std::string& name, const Chain& chain) {
        if (follow(chain, false, 0) == End::Continue && chain.policyDrop) {
            block(Match::Yes, "the policy of chain " + name);
        }
        return m_decision;
    }

private:
    enum class End { Continue, Decided };

    void block(Match certainty, const std::string& rule) {
        certainty = m_mayHaveEnded ? std::min(certainty, Match::Maybe) : certainty;
        if (certainty > m_decision.blocked) {
            m_decision = {certainty, rule};
        }
    }

    End follow(const Chain& chain, bool perhaps, int depth) {
        for (const auto& rule : chain.rules) {
            const bool certain = rule.match == Match::Yes && !perhaps;
            switch (rule.match == Match::No ? Rule::Verdict::None : rule.verdict) {
                case Rule::Verdict::None:
                    break;
                case Rule::Verdict::Accept:
                    m_mayHaveEnded = true;
                    if (certain) {
                        return End::Decided;
                    }
                    break;
                case Rule::Verdict::Drop:
                    block(certain ? Match::Yes : Match::Maybe, rule.text);
                    if (certain) {
                        return End::Decided;
                    }
                    break;
                case Rule::Verdict::Return:
                    if (rule.match == Match::Yes) {
                        return End::Continue;
                    }
                    perhaps = true;
                    break;
                case Rule::Verdict::Jump:
                case Rule::Verdict::Goto: {
                    const auto target = m_ruleset.find(rule.target);
                    const End end = target == m_ruleset.end() || depth > kDeepest
                                        ? End::Continue
                                        : follow(target->second, !certain, depth + 1);
                    if (certain && (end == End::Decided || rule.verdict == Rule::Verdict::Goto)) {
                        return end;
                    }
                    break;
                }
            }
        }
        return End::Continue;
    }

    const Ruleset& m_ruleset;
    Decision m_decision;
    bool m_mayHaveEnded = false;  ///< A rule that may match accepts.
};

}  // namespace

Decision decide(const Ruleset& ruleset) {
    Decision worst;
    for (const auto& [name, chain] : ruleset) {
        if (chain.base) {
            const auto decision = Walk(ruleset).through(name, chain);
            worst = decision.blocked > worst.blocked ? decision : worst;
        }
    }
    return worst;
}

}  // namespace monitor::doctor
