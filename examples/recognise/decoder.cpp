#include "recognise/decoder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace zelsr::examples {
namespace {

constexpr double kNever = -std::numeric_limits<double>::infinity();
constexpr std::int32_t kNone = -1;

// The best hypothesis of one history that has reached a state. Histories are numbered: equal sequences of words
// have equal numbers.
struct Token {
    double score = kNever;
    std::int32_t history = 0, link = kNone;
};

// Where a path came out of a word or of silence.
struct Link {
    std::int32_t before;  // the link that led there, or kNone
    Segment segment;
};

// The best tokens of different histories, best first.
class Tokens {
  public:
    explicit Tokens(std::size_t most) : most_(most) { tokens_.reserve(most); }

    void clear() { tokens_.clear(); }
    const std::vector<Token>& list() const { return tokens_; }

    void add(Token token)
    {
        if (token.score == kNever) return;
        for (std::size_t i = 0; i < tokens_.size(); ++i)
            if (tokens_[i].history == token.history) {
                if (!(token.score > tokens_[i].score)) return;
                tokens_.erase(tokens_.begin() + static_cast<std::ptrdiff_t>(i));
                break;
            }
        // Behind its equals: what came first stays first.
        auto place = tokens_.end();
        while (place != tokens_.begin() && token.score > (place - 1)->score) --place;
        if (static_cast<std::size_t>(place - tokens_.begin()) >= most_) return;
        if (tokens_.size() == most_) tokens_.pop_back();
        tokens_.insert(place, token);
    }

    void add_all(const Tokens& from, double cost)
    {
        for (const Token& token : from.tokens_) add({token.score + cost, token.history, token.link});
    }

    void score(float frame)
    {
        for (Token& token : tokens_) token.score += frame;
    }

  private:
    std::size_t most_;
    std::vector<Token> tokens_;
};

// A chain's place in the network: silence stands there twice, before the first word and behind words, so that
// histories with words and without any never meet.
struct Place {
    std::int32_t word;
    Chain chain;
    std::vector<Tokens> tokens;  // a list a state
};

class Search {
  public:
    Search(const Network& network, const DecodingOptions& options)
        : network_(network),
          options_(options),
          most_(static_cast<std::size_t>(std::max(1, options.hypotheses))),
          entries_(most_),
          before_words_(most_),
          silence_entries_(most_),
          ends_(most_),
          fresh_(most_)
    {
        add_place(kSilence, network.silence);
        for (std::size_t w = 0; w < network.words.size(); ++w)
            add_place(static_cast<std::int32_t>(w), network.words[w]);
        add_place(kSilence, network.silence);
        histories_.push_back({kNone, kNone});
    }

    std::vector<Path> run(const ScoreMatrix& scores)
    {
        for (std::int32_t t = 0; t < scores.frames(); ++t) {
            collect_entries(t);
            for (Place& place : places_) step(place, scores[t]);
        }
        collect_entries(scores.frames());
        std::vector<Path> paths;
        // Scores that are no numbers, of features or models out of all range, lead nowhere.
        for (const Token& token : ends_.list())
            if (std::isfinite(token.score)) paths.push_back(path_of(token, scores));
        return paths;
    }

  private:
    void add_place(std::int32_t word, const Chain& chain)
    {
        places_.push_back(
            {word, chain, std::vector<Tokens>(static_cast<std::size_t>(chain.states), Tokens(most_))});
    }

    // What enters words and silence with frame t, and what would end before it.
    void collect_entries(std::int32_t t)
    {
        entries_.clear();
        silence_entries_.clear();
        before_words_.clear();
        ends_.clear();
        if (t == 0) {
            before_words_.add({0, 0, kNone});
            entries_.add_all(before_words_, penalty());
            return;
        }
        // Words' ends first, by score alone; those that stay among the best get their links and histories.
        struct End {
            Token token;
            const Place* place;
        };
        std::vector<End> ends;
        for (std::size_t i = 1; i + 1 < places_.size(); ++i)
            for (const Token& token : places_[i].tokens.back().list())
                ends.push_back({{token.score + leave(places_[i]), token.history, token.link}, &places_[i]});
        std::stable_sort(ends.begin(), ends.end(),
                         [](const End& a, const End& b) { return a.token.score > b.token.score; });
        if (ends.size() > most_)
            ends.resize(most_);  // all of different histories: another word, or another one before
        for (const End& end : ends)
            silence_entries_.add({end.token.score, history(end.token.history, end.place->word),
                                  link(end.token.link, end.place->word, t)});
        ends_ = silence_entries_;
        for (const Token& token : places_.back().tokens.back().list())
            ends_.add({token.score + leave(places_.back()), token.history, link(token.link, kSilence, t)});
        if (options_.connected) entries_.add_all(ends_, penalty());
        for (const Token& token : places_.front().tokens.back().list())
            entries_.add(
                {token.score + leave(places_.front()) + penalty(), token.history, link(token.link, kSilence, t)});
    }

    void step(Place& place, const float* scores)
    {
        const Tokens& entering = &place == &places_.front()  ? before_words_
                                 : &place == &places_.back() ? silence_entries_
                                                             : entries_;
        for (std::size_t s = place.tokens.size(); s-- > 0;) {
            const auto state = static_cast<std::size_t>(place.chain.first) + s;
            fresh_.clear();
            fresh_.add_all(place.tokens[s], network_.stay[state]);
            if (s > 0)
                fresh_.add_all(place.tokens[s - 1], network_.leave[state - 1]);
            else
                fresh_.add_all(entering, 0);
            fresh_.score(scores[state]);
            std::swap(fresh_, place.tokens[s]);
        }
    }

    double penalty() const { return options_.connected ? network_.word_penalty : 0; }
    double leave(const Place& place) const { return network_.leave[static_cast<std::size_t>(place.chain.last())]; }

    std::int32_t history(std::int32_t before, std::int32_t word)
    {
        const auto [found, fresh] =
            numbers_.emplace(std::pair(before, word), static_cast<std::int32_t>(histories_.size()));
        if (fresh) histories_.push_back({before, word});
        return found->second;
    }

    std::int32_t link(std::int32_t before, std::int32_t word, std::int32_t end)
    {
        const std::int32_t first = before == kNone ? 0 : links_[static_cast<std::size_t>(before)].segment.end;
        links_.push_back({before, {word, first, end}});
        return static_cast<std::int32_t>(links_.size()) - 1;
    }

    Path path_of(const Token& token, const ScoreMatrix& scores) const
    {
        Path path;
        path.score = token.score;
        for (std::int32_t i = token.link; i != kNone; i = links_[static_cast<std::size_t>(i)].before)
            path.segments.push_back(links_[static_cast<std::size_t>(i)].segment);
        std::reverse(path.segments.begin(), path.segments.end());
        for (const Segment& segment : path.segments) {
            if (segment.word != kSilence) path.words.push_back(segment.word);
            const Chain& chain = segment.word == kSilence ? network_.silence
                                                          : network_.words[static_cast<std::size_t>(segment.word)];
            align(network_, {&chain, 1}, false, scores, segment.first, segment.end, path.states);
        }
        for (std::size_t t = 0; t < path.states.size(); ++t)
            path.frame_scores.push_back(scores[static_cast<std::int32_t>(t)][path.states[t]]);
        return path;
    }

    struct History {
        std::int32_t before, word;
    };

    const Network& network_;
    DecodingOptions options_;
    std::size_t most_;
    std::vector<Place> places_;
    // Entries of words, of the silence before words, of the silence behind them; ends of paths.
    Tokens entries_, before_words_, silence_entries_, ends_, fresh_;
    std::vector<History> histories_;
    std::map<std::pair<std::int32_t, std::int32_t>, std::int32_t> numbers_;
    std::vector<Link> links_;
};

}  // namespace

Network::Network(const Model& model) : silence(model.silence), word_penalty(model.word_penalty)
{
    for (const Word& word : model.words) words.push_back(word.chain);
    stay.assign(model.stay.begin(), model.stay.end());
    leave.assign(model.leave.begin(), model.leave.end());
}

std::vector<Path> decode(const Network& network, const ScoreMatrix& scores, const DecodingOptions& options)
{
    return Search(network, options).run(scores);
}

double align(const Network& network, std::span<const Chain> chains, bool optional_ends, const ScoreMatrix& scores,
             std::int32_t first, std::int32_t end, std::vector<std::int32_t>& path)
{
    std::vector<std::int32_t> states;
    for (const Chain& chain : chains)
        for (std::int32_t s = 0; s < chain.states; ++s) states.push_back(chain.first + s);
    const std::size_t count = states.size(), frames = static_cast<std::size_t>(end - first);
    if (frames == 0 || count == 0) return kNever;
    const bool optional = optional_ends && chains.size() > 1;
    const std::size_t second = optional ? static_cast<std::size_t>(chains.front().states) : 0;
    const std::size_t last_but = count - (optional ? static_cast<std::size_t>(chains.back().states) : 0);

    std::vector<double> best(count, kNever);
    std::vector<std::uint8_t> moved(frames * count);
    for (std::size_t t = 0; t < frames; ++t) {
        const float* score = scores[first + static_cast<std::int32_t>(t)];
        for (std::size_t s = count; s-- > 0;) {
            double kept = kNever, come = kNever;
            if (t == 0) {
                if (s == 0 || s == second) kept = 0;
            } else {
                const auto state = static_cast<std::size_t>(states[s]);
                kept = best[s] + network.stay[state];
                if (s > 0) come = best[s - 1] + network.leave[static_cast<std::size_t>(states[s - 1])];
            }
            moved[t * count + s] = come > kept;
            best[s] = std::max(kept, come) + score[states[s]];
        }
    }
    const auto leave = [&](std::size_t s) { return best[s] + network.leave[static_cast<std::size_t>(states[s])]; };
    std::size_t s = count - 1;
    if (leave(last_but - 1) > leave(s)) s = last_but - 1;
    const double total = leave(s);
    if (total == kNever) return kNever;
    const std::size_t start = path.size();
    path.resize(start + frames);
    for (std::size_t t = frames; t-- > 0;) {
        path[start + t] = states[s];
        s -= moved[t * count + s];
    }
    return total;
}

}  // namespace zelsr::examples
