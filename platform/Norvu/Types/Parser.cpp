// One class: the grammar of declarations is one recursion, bounded in depth, over one list of tokens.

#include "Norvu/Types/Parser.h"

#include "Norvu/Types/Lexer.h"
#include "Norvu/Types/Scalars.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <map>
#include <utility>

namespace Norvu::Types {

namespace {

constexpr unsigned kMostDepth = 32;
constexpr std::size_t kMostMembers = 65536;
constexpr std::size_t kMostTypes = 100000;
constexpr std::uint32_t kMostAlign = 1U << 16;

using TokenKind = Token::Kind;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n*";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// Reads a decimal number at the head of `text` and takes it away, with the blanks around it.
std::optional<std::uint32_t> takeNumber(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end == text.data()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return number;
}

bool take(std::string_view& text, std::string_view what) {
    if (text.substr(0, what.size()) != what) {
        return false;
    }
    text.remove_prefix(what.size());
    return true;
}

/// "8 4" and "0: 0 4" as pahole writes them; "8 | 4" and "16: 0 | 4" as gdb does.
std::optional<Claim> claimIn(const Token& comment) {
    std::string_view text = trimmed(comment.text);
    Claim claim;
    claim.line = comment.line;
    const auto offset = takeNumber(text);
    if (!offset) {
        return std::nullopt;
    }
    claim.offset = *offset;
    if (take(text, ":")) {
        const auto bit = takeNumber(text);
        if (!bit) {
            return std::nullopt;
        }
        claim.bit = *bit;
    }
    take(text, "|");
    claim.size = takeNumber(text);
    if (!claim.size || !text.empty()) {
        return std::nullopt;
    }
    return claim;
}

/// "size: 16, cachelines: 1, members: 2" and "total size:   24 bytes".
std::optional<Claim> sizeClaimIn(const Token& comment) {
    std::string_view text = trimmed(comment.text);
    take(text, "total ");
    if (!take(text, "size:")) {
        return std::nullopt;
    }
    Claim claim;
    claim.line = comment.line;
    claim.size = takeNumber(text);
    return claim.size && (text.empty() || text[0] == ',' || take(text, "bytes")) ? std::optional(claim) : std::nullopt;
}

/// Fills in what a comment made of nothing but annotations asks for.
void addNotes(const Token& comment, Notes& notes) {
    Notes found = notes;
    std::string_view text = trimmed(comment.text);
    while (!text.empty()) {
        const std::size_t length = std::min(text.find_first_of(" \t\r\n,"), text.size());
        const std::string_view word = text.substr(0, length);
        bool Notes::*const note = word == "ipv4"     ? &Notes::ipv4
                                  : word == "ipv6"   ? &Notes::ipv6
                                  : word == "mac"    ? &Notes::mac
                                  : word == "hex"    ? &Notes::hex
                                  : word == "time"   ? &Notes::time
                                  : word == "string" ? &Notes::string
                                  : word == "be"     ? &Notes::bigEndian
                                                     : nullptr;
        if (note == nullptr) {
            return;
        }
        found.*note = true;
        text.remove_prefix(length);
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n,"), text.size()));
    }
    notes = found;
}

struct Attributes {
    bool packed = false;
    std::uint32_t align = 0;
};

class Parser {
public:
    Parser(std::string_view text, std::string_view wanted) : tokens_(tokenize(text)), wanted_(wanted) {}

    Declarations run() {
        while (skipComments().kind != TokenKind::End) {
            topLevel();
        }
        choose();
        return std::move(out_);
    }

private:
    // Tokens. Comments are passed over but where they mean something.

    const Token& peekAny() const { return tokens_[at_]; }
    const Token& skipComments() {
        while (tokens_[at_].kind == TokenKind::Comment || tokens_[at_].kind == TokenKind::Pack) {
            if (tokens_[at_].kind == TokenKind::Pack) {
                pack_ = tokens_[at_].pack;
            }
            ++at_;
        }
        return tokens_[at_];
    }
    const Token& next() {
        const Token& token = skipComments();
        if (token.kind != TokenKind::End) {
            ++at_;
        }
        return token;
    }
    bool at(std::string_view text) {
        const Token& token = skipComments();
        return token.kind != TokenKind::End && token.text == text;
    }
    bool accept(std::string_view text) {
        if (!at(text)) {
            return false;
        }
        ++at_;
        return true;
    }
    void expect(std::string_view text) {
        if (!accept(text)) {
            fail("expected '" + std::string(text) + "' before " + describe(skipComments()));
        }
    }
    bool atName() { return skipComments().kind == TokenKind::Name; }
    /// The token `ahead` places behind the next one, comments left out.
    const Token& lookAhead(unsigned ahead) {
        skipComments();
        std::size_t at = at_;
        while (ahead != 0 && tokens_[at].kind != TokenKind::End) {
            ++at;
            if (tokens_[at].kind != TokenKind::Comment && tokens_[at].kind != TokenKind::Pack) {
                --ahead;
            }
        }
        return tokens_[at];
    }
    static std::string describe(const Token& token) {
        return token.kind == TokenKind::End ? "the end of the file" : "'" + std::string(token.text) + "'";
    }
    [[noreturn]] void fail(const std::string& reason) { throw DescriptionError(skipComments().line, reason); }
    [[noreturn]] static void fail(unsigned line, const std::string& reason) { throw DescriptionError(line, reason); }

    class Deeper {
    public:
        explicit Deeper(Parser& parser) : parser_(parser) {
            if (++parser.depth_ > kMostDepth) {
                parser.fail("nested more than " + std::to_string(kMostDepth) + " deep");
            }
        }
        ~Deeper() { --parser_.depth_; }
        Deeper(const Deeper&) = delete;
        Deeper& operator=(const Deeper&) = delete;

    private:
        Parser& parser_;
    };

    TypeId add(Type type) {
        if (out_.types.size() == kMostTypes) {
            fail("too many types");
        }
        out_.types.push_back(std::move(type));
        return static_cast<TypeId>(out_.types.size() - 1);
    }

    // Declarations.

    void topLevel() {
        if (accept(";")) {
            return;
        }
        if (at("type") && lookAhead(1).text == "=") { // gdb: "type = struct ..."
            next();
            next();
        }
        if (at("template")) {
            next();
            skipAngles();
        }
        accept("__extension__");
        const bool isTypedef = accept("typedef");
        const unsigned line = skipComments().line;
        if (!isTypedef && !at("struct") && !at("class") && !at("union") && !at("enum")) {
            if (at("using") || at("static_assert") || at("_Static_assert") || at("extern")) {
                skipItem();
                return;
            }
            fail("expected a struct, union, enum or typedef before " + describe(skipComments()));
        }
        Attributes attributes;
        const TypeId type = specifiers(attributes);
        if (!isTypedef && (out_.at(type).kind == Kind::Struct || out_.at(type).kind == Kind::Union ||
                           out_.at(type).kind == Kind::Enum)) {
            last_ = type;
        }
        while (!at(";") && skipComments().kind != TokenKind::End) {
            Declarator declarator = declare(type);
            if (isTypedef) {
                nameType(declarator, line);
            }
            if (!accept(",")) {
                break;
            }
        }
        if (skipComments().kind != TokenKind::End) {
            expect(";");
        }
    }

    struct Declarator {
        std::string name;
        TypeId type = kNoType;
        bool function = false;
        Attributes attributes;
        unsigned line = 0;
    };

    void nameType(const Declarator& declarator, unsigned line) {
        if (declarator.name.empty()) {
            fail(line, "typedef without a name");
        }
        TypeId type = declarator.type;
        if (out_.at(type).name.empty() && out_.at(type).kind != Kind::Array && out_.at(type).kind != Kind::Pointer) {
            out_.at(type).name = declarator.name;
        }
        if (declarator.attributes.align != 0) {
            Type aligned = out_.at(type);
            aligned.askedAlign = std::max(aligned.askedAlign, declarator.attributes.align);
            for (std::uint32_t& align : aligned.align) {
                align = std::max(align, declarator.attributes.align);
            }
            type = add(std::move(aligned));
        }
        names_[declarator.name] = type;
        last_ = type;
    }

    void choose() {
        const auto named = names_.find(std::string(wanted_));
        const auto tagged = tags_.find(std::string(wanted_));
        if (named != names_.end()) {
            out_.value = named->second;
        } else if (tagged != tags_.end() && out_.at(tagged->second).complete) {
            out_.value = tagged->second;
        } else if (last_ != kNoType) {
            out_.value = last_;
        } else {
            fail(1, "no struct, union, enum or typedef in the file");
        }
    }

    // Type specifiers.

    static bool isQualifier(std::string_view word) {
        constexpr std::string_view words[] = {"const",    "volatile",   "restrict",      "__restrict", "register",
                                              "mutable",  "__const",    "__extension__", "constexpr",  "inline",
                                              "__signed", "__volatile", "_Atomic",       "typename"};
        return std::find(std::begin(words), std::end(words), word) != std::end(words);
    }

    TypeId specifiers(Attributes& attributes) {
        BasicWords words;
        TypeId named = kNoType;
        unsigned line = skipComments().line;
        for (;;) {
            attributeList(attributes);
            if (!atName()) {
                break;
            }
            const std::string_view word = skipComments().text;
            if (isQualifier(word)) {
                next();
            } else if (named == kNoType && words.empty() &&
                       (word == "struct" || word == "class" || word == "union" || word == "enum")) {
                named = tagged();
            } else if (named == kNoType && words.add(word)) {
                next();
            } else if (named == kNoType && words.empty()) {
                named = byName();
            } else {
                break;
            }
        }
        if (named != kNoType) {
            return named;
        }
        if (words.empty()) {
            fail(line, "expected a type before " + describe(skipComments()));
        }
        const std::optional<Type> type = words.type();
        if (!type) {
            fail(line, "no such combination of type names");
        }
        return add(*type);
    }

    /// A name of a type, template arguments included: std::pair<int, long>.
    std::string typeName() {
        std::string name(next().text);
        while (at("<")) {
            name += angles();
            if (at(":") && lookAhead(1).text == ":") {
                next();
                next();
                name += "::";
                if (!atName()) {
                    fail("expected a name before " + describe(skipComments()));
                }
                name += next().text;
            }
        }
        return name;
    }

    std::string angles() {
        std::string text;
        int depth = 0;
        do {
            const Token& token = next();
            if (token.kind == TokenKind::End || token.text == ";" || token.text == "{") {
                fail(token.line, "'<' without '>'");
            }
            depth += token.text == "<" ? 1 : token.text == ">" ? -1 : 0;
            text += token.text;
            if (token.text == "," || (token.kind == TokenKind::Name && (skipComments().kind == TokenKind::Name ||
                                                                        skipComments().kind == TokenKind::Number))) {
                text += " ";
            }
        } while (depth > 0);
        return text;
    }
    void skipAngles() {
        if (at("<")) {
            (void)angles();
        }
    }

    TypeId byName() {
        const unsigned line = skipComments().line;
        const std::string name = typeName();
        if (const auto known = names_.find(name); known != names_.end()) {
            return known->second;
        }
        if (const auto known = tags_.find(name); known != tags_.end()) {
            return known->second;
        }
        if (const std::optional<Type> scalar = scalarNamed(name)) {
            return names_[name] = add(*scalar);
        }
        // Perhaps it is only pointed at, or a comment says how large it is; the layout will ask.
        Type unknown;
        unknown.kind = Kind::Opaque;
        unknown.name = name;
        unknown.line = line;
        return tags_[name] = add(std::move(unknown));
    }

    TypeId tagged() {
        const Token& keyword = next();
        const std::string_view word = keyword.text;
        const bool isEnum = word == "enum";
        if (isEnum && !accept("class")) {
            accept("struct");
        }
        Attributes attributes;
        attributeList(attributes);
        std::string name;
        if (atName() && !at("final")) {
            name = typeName();
        }
        accept("final");
        attributeList(attributes);
        TypeId id = kNoType;
        const auto known = tags_.find(name);
        // Tools that show structures inside of others show a structure again wherever it is used.
        const bool again = known != tags_.end() && out_.at(known->second).complete && depth_ > 0 &&
                           (at("{") || (at(":") && lookAhead(1).kind == TokenKind::Name && lookAhead(2).text == "{"));
        if (!name.empty() && known != tags_.end() && !again) {
            id = known->second;
        } else {
            Type type = isEnum ? enumStorage(0, 0, false) : Type();
            type.kind = isEnum ? Kind::Enum : Kind::Opaque;
            type.name = name;
            type.line = keyword.line;
            id = add(std::move(type));
            if (!name.empty()) {
                tags_[name] = id;
            }
        }
        if (isEnum) {
            // A ":" behind the name of an enumeration that is known begins a bit-field.
            if (at("{") || (at(":") && !out_.at(id).complete)) {
                enumeration(id, attributes);
            }
            return id;
        }
        if (at("{") || (at(":") && lookAhead(1).kind == TokenKind::Name)) {
            structure(id, word == "union" ? Kind::Union : Kind::Struct, attributes);
        } else if (name.empty()) {
            fail("expected '{' before " + describe(skipComments()));
        }
        return id;
    }

    void enumeration(TypeId id, const Attributes& before) {
        if (out_.at(id).complete) {
            fail("'" + out_.at(id).name + "' is defined twice");
        }
        TypeId stored = kNoType;
        if (accept(":")) {
            Attributes ignored;
            stored = specifiers(ignored);
            if (out_.at(stored).kind != Kind::Integer && out_.at(stored).kind != Kind::Character &&
                out_.at(stored).kind != Kind::Bool) {
                fail("an enumeration is stored as an integer");
            }
            if (!at("{")) {
                complete(id, stored, {}, before);
                return;
            }
        }
        expect("{");
        std::vector<Enumerator> enumerators;
        std::int64_t value = 0;
        while (!at("}")) {
            if (!atName()) {
                fail("expected a name before " + describe(skipComments()));
            }
            const std::string name(next().text);
            Attributes ignored;
            attributeList(ignored);
            if (accept("=")) {
                value = expression();
            }
            if (enumerators.size() == kMostMembers) {
                fail("too many enumerators");
            }
            enumerators.push_back({name, value});
            constants_[name] = value;
            if (value != std::numeric_limits<std::int64_t>::max()) {
                ++value;
            }
            if (!accept(",")) {
                break;
            }
        }
        expect("}");
        Attributes attributes = before;
        attributeList(attributes);
        complete(id, stored, std::move(enumerators), attributes);
    }

    void complete(TypeId id, TypeId stored, std::vector<Enumerator> enumerators, const Attributes& attributes) {
        std::int64_t least = 0;
        std::int64_t most = 0;
        for (const Enumerator& enumerator : enumerators) {
            least = std::min(least, enumerator.value);
            most = std::max(most, enumerator.value);
        }
        const Type basis = stored != kNoType ? out_.at(stored) : enumStorage(least, most, attributes.packed);
        Type& type = out_.at(id);
        type.kind = Kind::Enum;
        type.complete = true;
        type.isSigned = basis.isSigned;
        for (unsigned abi = 0; abi < kAbis; ++abi) {
            type.size[abi] = basis.size[abi];
            type.align[abi] = std::max(basis.align[abi], attributes.align);
        }
        type.enumerators = std::move(enumerators);
    }

    // Structures.

    void structure(TypeId id, Kind kind, Attributes attributes) {
        const Deeper deeper(*this);
        if (out_.at(id).complete) {
            fail("'" + out_.at(id).name + "' is defined twice");
        }
        Type made;
        made.kind = kind;
        made.pack = pack_;
        std::vector<Member> bases;
        if (accept(":")) {
            bases = baseClasses();
        }
        expect("{");
        bool saidAncestors = false;
        while (!atBodyEnd(made, saidAncestors)) {
            member(made);
            if (made.members.size() > kMostMembers) {
                fail("too many members");
            }
        }
        expect("}");
        attributeList(attributes);
        saidAncestors = saidAncestors || std::any_of(made.members.begin(), made.members.end(),
                                                     [](const Member& its) { return its.ancestor; });
        if (!saidAncestors) {
            made.members.insert(made.members.begin(), bases.begin(), bases.end());
        }
        Type& type = out_.at(id);
        type.kind = kind;
        type.complete = true;
        type.inlined = depth_ > 1;
        type.members = std::move(made.members);
        type.pack = made.pack;
        type.packed = attributes.packed;
        type.askedAlign = attributes.align;
        type.claimedSize = made.claimedSize;
    }

    std::vector<Member> baseClasses() {
        std::vector<Member> bases;
        do {
            while (at("public") || at("private") || at("protected") || at("virtual")) {
                if (next().text == "virtual") {
                    fail("virtual base classes are not supported");
                }
            }
            Member base;
            base.line = skipComments().line;
            if (!atName()) {
                fail("expected a base class before " + describe(skipComments()));
            }
            base.ancestor = true;
            base.type = byName();
            base.name = out_.at(base.type).name;
            bases.push_back(std::move(base));
        } while (accept(","));
        return bases;
    }

    /// Whether the body ends here; takes the comments on the way, of which some tell a size or a base class.
    bool atBodyEnd(Type& made, bool& saidAncestors) {
        while (peekAny().kind == TokenKind::Comment || peekAny().kind == TokenKind::Pack) {
            const Token& token = peekAny();
            if (token.kind == TokenKind::Pack) {
                pack_ = token.pack;
                ++at_;
                continue;
            }
            if (const auto size = sizeClaimIn(token)) {
                made.claimedSize = size;
            } else if (ancestor(token, made)) {
                saidAncestors = true;
                continue;
            } else if (tokens_[at_ + 1].kind != TokenKind::Comment && tokens_[at_ + 1].line == token.lastLine &&
                       claimIn(token)) {
                leading_ = claimIn(token); // gdb writes it in front of the member
            }
            ++at_;
        }
        if (peekAny().kind == TokenKind::End) {
            fail("'{' without '}'");
        }
        return at("}");
    }

    /// pahole: /* class Base <ancestor>; */ followed by its place and size.
    bool ancestor(const Token& comment, Type& made) {
        std::string_view text = trimmed(comment.text);
        const std::size_t mark = text.find("<ancestor>");
        if (mark == std::string_view::npos) {
            return false;
        }
        text = text.substr(0, mark);
        take(text, "class ");
        take(text, "struct ");
        Member base;
        base.ancestor = true;
        base.line = comment.line;
        base.name = std::string(trimmed(text.substr(0, text.find('{'))));
        if (const auto known = tags_.find(base.name); known != tags_.end()) {
            base.type = known->second;
        } else {
            Type unknown;
            unknown.kind = Kind::Opaque;
            unknown.name = base.name;
            unknown.line = comment.line;
            base.type = tags_[base.name] = add(std::move(unknown));
        }
        ++at_;
        if (peekAny().kind == TokenKind::Comment && peekAny().line == comment.lastLine) {
            base.claim = claimIn(peekAny());
            ++at_;
        }
        made.members.push_back(std::move(base));
        return true;
    }

    void member(Type& made) {
        const std::optional<Claim> leading = std::exchange(leading_, std::nullopt);
        if (accept(";")) {
            return;
        }
        if ((at("public") || at("private") || at("protected")) && lookAhead(1).text == ":") {
            next();
            next();
            return;
        }
        if (isSkipped()) {
            skipItem();
            return;
        }
        const std::size_t begin = at_;
        const std::size_t firstMember = made.members.size();
        Attributes attributes;
        const TypeId type = specifiers(attributes);
        if (at("(") && lookAhead(1).text != "*" && lookAhead(1).text != "&" && lookAhead(1).text != ")") {
            at_ = begin; // a constructor
            skipItem();
            return;
        }
        if (at("<") && lookAhead(1).text == "ancestor") {
            expandedAncestor(made, type);
            return;
        }
        if (at(";") && (!isStructure(type) || !out_.at(type).name.empty())) {
            next(); // declares a type, and no member of it
            return;
        }
        do {
            Member its;
            if (at("operator") || !declareMember(type, attributes, its)) {
                at_ = begin;
                made.members.resize(firstMember);
                skipItem();
                return;
            }
            its.claim = leading;
            made.members.push_back(std::move(its));
        } while (accept(","));
        expect(";");
        trailing(made, firstMember);
        // pahole lists the types without a name that are defined in a structure before it comes to the members.
        const Member& last = made.members.back();
        if (last.name.empty() && !last.bits && !last.claim && isStructure(type) &&
            std::any_of(out_.at(type).members.begin(), out_.at(type).members.end(),
                        [](const Member& inner) { return inner.claim.has_value(); })) {
            made.members.pop_back();
        }
    }

    /// pahole's way to show a base class with its members, of which the lexer has taken the outer comment's begin away.
    void expandedAncestor(Type& made, TypeId type) {
        Member base;
        base.ancestor = true;
        base.name = out_.at(type).name;
        base.type = type;
        base.line = skipComments().line;
        for (const std::string_view part : {"<", "ancestor", ">", ";", "*", "/"}) {
            expect(part);
        }
        if (peekAny().kind == TokenKind::Comment && peekAny().line == tokens_[at_ - 1].line) {
            base.claim = claimIn(peekAny());
            ++at_;
        }
        made.members.push_back(std::move(base));
    }

    [[nodiscard]] bool isStructure(TypeId id) const {
        return out_.at(id).kind == Kind::Struct || out_.at(id).kind == Kind::Union;
    }

    /// Comments behind a member's end, on its line.
    void trailing(Type& made, std::size_t firstMember) {
        const unsigned line = tokens_[at_ - 1].line;
        while (peekAny().kind == TokenKind::Comment && peekAny().line == line) {
            if (const auto claim = claimIn(peekAny())) {
                made.members.back().claim = claim;
            } else {
                for (std::size_t i = firstMember; i < made.members.size(); ++i) {
                    addNotes(peekAny(), made.members[i].notes);
                }
            }
            ++at_;
        }
    }

    /// One declarator of a member declaration; false for a member function.
    bool declareMember(TypeId type, const Attributes& attributes, Member& member) {
        Declarator declarator;
        if (at(":")) {
            declarator.type = type;
            declarator.line = skipComments().line;
        } else if (at(";")) {
            declarator.type = type; // an anonymous structure
            declarator.line = skipComments().line;
        } else {
            declarator = declare(type);
        }
        if (declarator.function || declarator.name == "operator") {
            return false;
        }
        member.name = declarator.name;
        member.type = declarator.type;
        member.line = declarator.line;
        member.packed = attributes.packed || declarator.attributes.packed;
        member.align = std::max(attributes.align, declarator.attributes.align);
        if (accept(":")) {
            const std::int64_t bits = expression();
            if (bits < 0 || bits > 64 || (bits == 0 && !member.name.empty())) {
                fail(member.line, "a bit-field of " + std::to_string(bits) + " bits");
            }
            member.bits = static_cast<std::uint32_t>(bits);
            Attributes more;
            attributeList(more);
            member.packed = member.packed || more.packed;
            member.align = std::max(member.align, more.align);
        }
        if (accept("=")) { // a default member initializer
            while (!at(",") && !at(";") && skipComments().kind != TokenKind::End) {
                skipGroup();
            }
        }
        return true;
    }

    bool isSkipped() {
        constexpr std::string_view words[] = {"static",   "using",         "friend",        "virtual",
                                              "explicit", "extern",        "template",      "typedef",
                                              "operator", "static_assert", "_Static_assert"};
        return at("~") ||
               (atName() && std::find(std::begin(words), std::end(words), skipComments().text) != std::end(words));
    }

    /// Skips to the end of a declaration: a ";", or the end of a function's body.
    void skipItem() {
        for (;;) {
            const Token& token = skipComments();
            if (token.kind == TokenKind::End || token.text == "}") {
                return;
            }
            if (token.text == ";") {
                next();
                return;
            }
            const bool body = token.text == "{";
            skipGroup();
            if (body) {
                accept(";");
                return;
            }
        }
    }

    /// Skips one token, or a group in brackets, however deep.
    void skipGroup() {
        std::size_t depth = 0;
        do {
            const Token& token = next();
            if (token.kind == TokenKind::End) {
                fail("brackets that do not match");
            }
            if (token.text == "(" || token.text == "[" || token.text == "{") {
                ++depth;
            } else if (token.text == ")" || token.text == "]" || token.text == "}") {
                if (depth == 0) {
                    fail(token.line, "brackets that do not match");
                }
                --depth;
            }
        } while (depth != 0);
    }

    // Declarators.

    Declarator declare(TypeId type) {
        const Deeper deeper(*this);
        Declarator made;
        made.type = type;
        made.line = skipComments().line;
        attributeList(made.attributes);
        // pahole writes a pointer to functions as "int ()(void) * * name".
        if (at("(") && lookAhead(1).text == ")") {
            skipGroup();
            if (at("(")) {
                skipGroup();
            }
            made.type = add(voidType());
        }
        pointers(made);
        std::vector<std::uint32_t> inner;
        bool indirect = false;
        if (at("(") && (lookAhead(1).text == "*" || lookAhead(1).text == "&" || lookAhead(1).text == "^")) {
            next();
            while (at("*") || at("&") || at("^") || (atName() && isQualifier(skipComments().text))) {
                next();
            }
            indirect = true;
            if (atName()) {
                made.name = memberName();
            }
            inner = dimensions();
            while (at("(")) {
                skipGroup();
            }
            expect(")");
        } else if (atName()) {
            made.line = skipComments().line;
            made.name = memberName();
        }
        if (at("(")) {
            skipGroup();
            made.function = !indirect;
            while (atName() && (at("const") || at("noexcept") || at("override") || at("final"))) {
                next();
            }
        }
        std::vector<std::uint32_t> outer = dimensions();
        if (indirect) {
            made.type = add(pointerType());
            outer = std::move(inner);
        }
        for (auto count = outer.rbegin(); count != outer.rend(); ++count) {
            Type array;
            array.kind = Kind::Array;
            array.element = made.type;
            array.count = *count;
            array.line = made.line;
            made.type = add(std::move(array));
        }
        attributeList(made.attributes);
        return made;
    }

    void pointers(Declarator& made) {
        for (;;) {
            if (at("*") || at("&") || at("^")) {
                next();
                made.type = add(pointerType());
            } else if (atName() && isQualifier(skipComments().text)) {
                next();
            } else {
                attributeList(made.attributes);
                if (!at("*") && !at("&")) {
                    return;
                }
            }
        }
    }

    /// A member's name; pahole's for a table of virtual functions has a dot: _vptr.Base.
    std::string memberName() {
        std::string name(next().text);
        while (at(".") && lookAhead(1).kind == TokenKind::Name) {
            next();
            name += ".";
            name += next().text;
        }
        return name;
    }

    std::vector<std::uint32_t> dimensions() {
        std::vector<std::uint32_t> counts;
        while (at("[")) {
            const unsigned line = skipComments().line;
            if (lookAhead(1).text == "[") { // [[attribute]]
                skipGroup();
                continue;
            }
            next();
            std::int64_t count = 0;
            if (!at("]")) {
                count = expression();
            }
            expect("]");
            if (count < 0 || count > std::numeric_limits<std::int32_t>::max()) {
                fail(line, "an array of " + std::to_string(count) + " elements");
            }
            if (counts.size() == kMostDepth) {
                fail(line, "an array of too many dimensions");
            }
            counts.push_back(static_cast<std::uint32_t>(count));
        }
        return counts;
    }

    // Attributes.

    void attributeList(Attributes& attributes) {
        for (;;) {
            if (at("__attribute__") || at("__attribute")) {
                next();
                expect("(");
                expect("(");
                while (!at(")")) {
                    if (!attribute(attributes)) {
                        fail("expected an attribute before " + describe(skipComments()));
                    }
                    accept(",");
                }
                expect(")");
                expect(")");
            } else if (at("alignas") || at("_Alignas")) {
                next();
                expect("(");
                if (atName() && constants_.count(std::string(skipComments().text)) == 0) {
                    while (!at(")")) {
                        skipGroup(); // of a type: its members tell
                    }
                } else {
                    attributes.align = std::max(attributes.align, alignment());
                }
                expect(")");
            } else if (at("[") && lookAhead(1).text == "[") {
                skipGroup();
            } else {
                return;
            }
        }
    }

    bool attribute(Attributes& attributes) {
        if (accept(",")) {
            return true;
        }
        if (!atName()) {
            return false;
        }
        const std::string_view name = next().text;
        if (name == "packed" || name == "__packed__") {
            attributes.packed = true;
        } else if (name == "aligned" || name == "__aligned__") {
            if (accept("(")) {
                attributes.align = std::max(attributes.align, alignment());
                expect(")");
            } else {
                attributes.align = std::max(attributes.align, 16U);
            }
            return true;
        }
        if (at("(")) {
            skipGroup();
        }
        return true;
    }

    std::uint32_t alignment() {
        const unsigned line = skipComments().line;
        const std::int64_t align = expression();
        if (align <= 0 || align > kMostAlign || (align & (align - 1)) != 0) {
            fail(line, "an alignment of " + std::to_string(align));
        }
        return static_cast<std::uint32_t>(align);
    }

    // Constant expressions, by precedence.

    std::int64_t expression() { return binary(0); }

    std::int64_t binary(unsigned level) {
        const Deeper deeper(*this);
        constexpr unsigned levels = 6;
        if (level == levels) {
            return unary();
        }
        std::int64_t left = binary(level + 1);
        for (;;) {
            const unsigned line = skipComments().line;
            const std::string_view text = skipComments().text;
            const bool shift = (text == "<" || text == ">") && lookAhead(1).text == text;
            const char sign = text.size() == 1 ? text[0] : '\0';
            const unsigned its = sign == '|'                                 ? 0
                                 : sign == '^'                               ? 1
                                 : sign == '&'                               ? 2
                                 : shift                                     ? 3
                                 : sign == '+' || sign == '-'                ? 4
                                 : sign == '*' || sign == '/' || sign == '%' ? 5
                                                                             : levels;
            if (its != level) {
                return left;
            }
            next();
            if (shift) {
                next();
            }
            left = apply(line, sign, left, binary(level + 1));
        }
    }

    static std::int64_t apply(unsigned line, char sign, std::int64_t left, std::int64_t right) {
        std::int64_t result = 0;
        bool bad = false;
        switch (sign) {
        case '|':
            return left | right;
        case '^':
            return left ^ right;
        case '&':
            return left & right;
        case '+':
            bad = __builtin_add_overflow(left, right, &result);
            break;
        case '-':
            bad = __builtin_sub_overflow(left, right, &result);
            break;
        case '*':
            bad = __builtin_mul_overflow(left, right, &result);
            break;
        case '<':
            bad = right < 0 || right > 62 || left < 0 || left > std::numeric_limits<std::int64_t>::max() >> right;
            result = bad ? 0 : left << right;
            break;
        case '>':
            bad = right < 0 || right > 62;
            result = bad ? 0 : left >> right;
            break;
        default:
            bad = right == 0 || (left == std::numeric_limits<std::int64_t>::min() && right == -1);
            result = bad ? 0 : sign == '/' ? left / right : left % right;
        }
        if (bad) {
            fail(line, "a constant that cannot be computed");
        }
        return result;
    }

    std::int64_t unary() {
        const Deeper deeper(*this);
        const unsigned line = skipComments().line;
        if (accept("-")) {
            return apply(line, '-', 0, unary());
        }
        if (accept("+")) {
            return unary();
        }
        if (accept("~")) {
            return ~unary();
        }
        if (accept("(")) {
            const std::int64_t value = binary(0);
            expect(")");
            return value;
        }
        const Token& token = next();
        if (token.kind == TokenKind::Number) {
            return number(token);
        }
        if (token.kind == TokenKind::Name) {
            const auto known = constants_.find(std::string(token.text));
            if (known != constants_.end()) {
                return known->second;
            }
        }
        fail(token.line, "expected a number before " + describe(token));
    }

    static std::int64_t number(const Token& token) {
        std::string_view digits = token.text;
        int base = 10;
        if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
            base = 16;
            digits.remove_prefix(2);
        } else if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'b' || digits[1] == 'B')) {
            base = 2;
            digits.remove_prefix(2);
        } else if (digits.size() > 1 && digits[0] == '0') {
            base = 8;
        }
        std::uint64_t value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        const std::string_view suffix = digits.substr(static_cast<std::size_t>(end - digits.data()));
        if (error != std::errc{} || suffix.find_first_not_of("uUlL") != std::string_view::npos || suffix.size() > 3) {
            fail(token.line, "bad number '" + std::string(token.text) + "'");
        }
        return static_cast<std::int64_t>(value); // above the signed range it is what C makes of it in an int64
    }

    std::vector<Token> tokens_;
    std::string_view wanted_;
    std::size_t at_ = 0;
    unsigned depth_ = 0;
    std::uint32_t pack_ = 0;
    std::optional<Claim> leading_;
    Declarations out_;
    TypeId last_ = kNoType;
    std::map<std::string, TypeId> tags_;
    std::map<std::string, TypeId> names_;
    std::map<std::string, std::int64_t> constants_;
};

} // namespace

Declarations parse(std::string_view text, std::string_view wanted) {
    return Parser(text, wanted).run();
}

} // namespace Norvu::Types
