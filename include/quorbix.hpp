// Quorbix for C++: a header-only layer over the C interface in quorbix.h.
//
// A Context owns one EvalContext, its 26 registers, and every C++ callable
// and constant text registered in it. Calls answer with Result<T>: the value,
// or the library's result code. Nothing here throws on its own account; an
// allocation the wrapper makes that fails (a copy of a text, a std::string for
// a result, room for a callable) is answered with ErrNoMemory, as the library
// answers its own. The one exception that passes through is one thrown by the
// callable given to forEachParam, rethrown after the library has returned.
//
// Texts. The library wants zero-terminated text. A parameter of type TextArg
// takes a `const char *` or a `std::string` as it is, without copying; a
// `std::string_view` is copied first: onto the stack when shorter than 128
// bytes, otherwise into a qx_malloc block freed before the call returns. Whichever way
// it came, the text ends at its first zero byte.
//
// Needs C++17. Works with exceptions disabled; then a throwing callable or a
// failed std::string allocation ends the program, as anywhere else.
#ifndef QUORBIX_HPP
#define QUORBIX_HPP

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <forward_list>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "quorbix.h"

#if defined(__cpp_exceptions) || defined(__EXCEPTIONS) || defined(_CPPUNWIND)
#define QUORBIX_HPP_EXCEPTIONS 1
#else
#define QUORBIX_HPP_EXCEPTIONS 0
#endif

namespace quorbix {

// A failed outcome: one of the negative ErrorCode values, or a host code.
struct Failure {
    int32_t code;
};

// Either a value (code 0) or a non-zero result code; holds its value by value.
template <typename T>
class [[nodiscard]] Result {
public:
    // A success holding `value`.
    Result(T value) noexcept(std::is_nothrow_move_constructible_v<T>) : value_(std::move(value)) {}
    // A failure; the code must not be 0.
    Result(Failure failure) noexcept : code_(failure.code) { assert(failure.code != 0); }

    // True when a value is held.
    bool ok() const noexcept { return code_ == 0; }
    // Same as ok().
    explicit operator bool() const noexcept { return ok(); }
    // 0 on success, otherwise the result code.
    int32_t code() const noexcept { return code_; }
    // The held value, still owned by the Result; only when ok().
    T &value() & noexcept { assert(ok()); return *value_; }
    const T &value() const & noexcept { assert(ok()); return *value_; }
    // The held value moved out of a temporary Result; only when ok().
    T value() && noexcept(std::is_nothrow_move_constructible_v<T>) { assert(ok()); return std::move(*value_); }
    // The held value, or `fallback` after a failure.
    T valueOr(T fallback) const & { return ok() ? *value_ : std::move(fallback); }

private:
    std::optional<T> value_;
    int32_t code_ = 0;
};

// Success without a value, or a non-zero result code.
template <>
class [[nodiscard]] Result<void> {
public:
    // A success.
    Result() noexcept = default;
    // A failure; the code must not be 0.
    Result(Failure failure) noexcept : code_(failure.code) { assert(failure.code != 0); }
    // Success for 0, otherwise a failure with that code.
    static Result fromCode(int32_t code) noexcept { return code == 0 ? Result() : Result(Failure{code}); }

    // True on success.
    bool ok() const noexcept { return code_ == 0; }
    // Same as ok().
    explicit operator bool() const noexcept { return ok(); }
    // 0 on success, otherwise the result code.
    int32_t code() const noexcept { return code_; }

private:
    int32_t code_ = 0;
};

// A borrowed text for one call: see "Texts" above. Never store one.
class TextArg {
public:
    // Borrows a zero-terminated text as it is; null reads as "".
    TextArg(const char *text) noexcept : data_(text != nullptr ? text : ""), size_(0), terminated_(true) {}
    // Borrows the string's own terminated buffer, no copy.
    TextArg(const std::string &text) noexcept : data_(text.c_str()), size_(text.size()), terminated_(true) {}
    // Borrows a view; it is copied before the library sees it.
    TextArg(std::string_view text) noexcept : data_(text.data()), size_(text.size()), terminated_(false) {}

    // The borrowed bytes, owned by the caller.
    const char *data() const noexcept { return data_; }
    // The view's length; 0 for a `const char *`, whose length is not measured.
    std::size_t size() const noexcept { return size_; }
    // True when data() already ends in a zero byte and needs no copy.
    bool terminated() const noexcept { return terminated_; }

private:
    const char *data_;
    std::size_t size_;
    bool terminated_;
};

// What Quorbix_CheckStrType makes of a text.
enum class TextKind : int32_t { Unknown = 0, Numeric = 1, String = 2, Blank = 3 };

// Handed to a host callable that takes it as its last parameter.
class CallContext {
public:
    // Made by the wrapper around the library's frame for one call.
    explicit CallContext(CallFrame *frame) noexcept : frame_(frame) {}

    // Makes the call fail with `code`; a code that is not negative becomes
    // ErrDomain, since 0 would read as success. The callable's return value is
    // then ignored.
    void fail(int32_t code) noexcept { frame_->error = code < 0 ? code : ErrDomain; }
    // True once fail() has been called.
    bool failed() const noexcept { return frame_->error != 0; }
    // The registers of the evaluating context (null if it has none); the
    // context's owner keeps them.
    double *registers() const noexcept { return frame_->context != nullptr ? frame_->context->registers : nullptr; }
    // The raw frame, valid for this call only.
    CallFrame &frame() const noexcept { return *frame_; }

private:
    CallFrame *frame_;
};

namespace detail {

// A zero-terminated view of a TextArg, copying only when it must.
class ZText {
public:
    explicit ZText(const TextArg &text) noexcept
    {
        if (text.terminated()) {
            text_ = text.data();
            return;
        }
        const std::size_t n = text.size();
        char *copy = small_;
        if (n >= sizeof small_) {
            heap_ = n < SIZE_MAX ? static_cast<char *>(qx_malloc(n + 1)) : nullptr;
            copy = heap_;
        }
        if (copy == nullptr)
            return;
        if (n != 0)
            std::memcpy(copy, text.data(), n);
        copy[n] = '\0';
        text_ = copy;
    }
    ~ZText() { qx_free(heap_); }
    ZText(const ZText &) = delete;
    ZText &operator=(const ZText &) = delete;

    // The text, or null when its copy could not be allocated.
    const char *get() const noexcept { return text_; }

private:
    char small_[128];
    char *heap_ = nullptr;
    const char *text_ = nullptr;
};

// Runs `body`; an exception from it becomes a failure with `code`.
template <typename Body>
auto Guarded(int32_t code, Body &&body) noexcept -> decltype(body())
{
#if QUORBIX_HPP_EXCEPTIONS
    try {
        return body();
    } catch (...) {
        return Failure{code};
    }
#else
    (void)code;
    return body();
#endif
}

template <typename T>
using Bare = std::remove_cv_t<std::remove_reference_t<T>>;

template <typename T>
constexpr bool IsNumberParam = std::is_same_v<Bare<T>, double>;
template <typename T>
constexpr bool IsTextParam = std::is_same_v<Bare<T>, std::string_view> || std::is_same_v<Bare<T>, std::string> ||
                             std::is_same_v<Bare<T>, const char *>;

// The parameter list and return type of a function, function pointer or
// object with one non-template operator().
template <typename R, typename... A>
struct SignatureOf {
    using Return = R;
    using Params = std::tuple<A...>;
};
template <typename F>
struct Signature : Signature<decltype(&F::operator())> {};
template <typename R, typename... A>
struct Signature<R (*)(A...)> : SignatureOf<R, A...> {};
template <typename R, typename... A>
struct Signature<R (*)(A...) noexcept> : SignatureOf<R, A...> {};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...)> : SignatureOf<R, A...> {};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...) const> : SignatureOf<R, A...> {};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...) noexcept> : SignatureOf<R, A...> {};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...) const noexcept> : SignatureOf<R, A...> {};

template <typename Params>
constexpr bool EndsWithContext()
{
    constexpr std::size_t n = std::tuple_size_v<Params>;
    if constexpr (n == 0)
        return false;
    else
        return std::is_same_v<std::tuple_element_t<n - 1, Params>, CallContext &>;
}

template <typename T>
Bare<T> ArgFrom(const CallArg &arg)
{
    if constexpr (IsNumberParam<T>)
        return arg.number;
    else
        return Bare<T>(arg.text != nullptr ? arg.text : "");
}

// Owns nothing but lets the Context keep callables of any type in one list.
struct HostCallable {
    virtual ~HostCallable() = default;
};

// A callable and the two trampolines the library calls; the frame's userWord
// is the address of this object.
template <typename F>
struct HostFunction final : HostCallable {
    using Sig = Signature<F>;
    using Params = typename Sig::Params;
    using Return = Bare<typename Sig::Return>;
    static constexpr bool WithContext = EndsWithContext<Params>();
    static constexpr std::size_t ValueCount = std::tuple_size_v<Params> - (WithContext ? 1 : 0);
    static constexpr bool ReturnsText = std::is_same_v<Return, std::string>;

    static_assert(ReturnsText || std::is_arithmetic_v<Return>, "a host function returns a number or std::string");
    static_assert(ValueCount <= 16, "a host function takes at most 16 arguments");

    template <typename G>
    explicit HostFunction(G &&g) : callable(std::forward<G>(g)) {}

    template <std::size_t... I>
    static constexpr bool ValueParamsFit(std::index_sequence<I...>)
    {
        return ((IsNumberParam<std::tuple_element_t<I, Params>> || IsTextParam<std::tuple_element_t<I, Params>>) &&
                ...);
    }
    static_assert(ValueParamsFit(std::make_index_sequence<ValueCount>()),
                  "host function parameters are double or std::string_view, std::string, const char *, "
                  "optionally followed by quorbix::CallContext &");

    template <std::size_t... I>
    Return Invoke(CallFrame *frame, CallContext &cc, std::index_sequence<I...>)
    {
        if constexpr (WithContext)
            return callable(ArgFrom<std::tuple_element_t<I, Params>>(frame->args[I])..., cc);
        else
            return callable(ArgFrom<std::tuple_element_t<I, Params>>(frame->args[I])...);
    }

    // Runs the callable, turning an exception into a code on the frame:
    // std::bad_alloc into ErrNoMemory, anything else into ErrDomain.
    template <typename Use>
    static void Run(CallFrame *frame, Use &&use) noexcept
    {
#if QUORBIX_HPP_EXCEPTIONS
        try {
            use();
        } catch (const std::bad_alloc &) {
            frame->error = ErrNoMemory;
        } catch (...) {
            frame->error = ErrDomain;
        }
#else
        (void)frame;
        use();
#endif
    }

    static double QUORBIX_CALL Number(CallFrame *frame) noexcept
    {
        auto *self = reinterpret_cast<HostFunction *>(frame->userWord);
        CallContext cc(frame);
        double value = 0.0;
        Run(frame, [&] {
            value = static_cast<double>(self->Invoke(frame, cc, std::make_index_sequence<ValueCount>()));
        });
        return frame->error == 0 ? value : 0.0;
    }

    // The library takes resultLength bytes of the block and frees it, but
    // keeps nothing after a failure, so no block is handed over then.
    static char *QUORBIX_CALL Text(CallFrame *frame) noexcept
    {
        auto *self = reinterpret_cast<HostFunction *>(frame->userWord);
        CallContext cc(frame);
        char *block = nullptr;
        Run(frame, [&] {
            const std::string text = self->Invoke(frame, cc, std::make_index_sequence<ValueCount>());
            if (frame->error != 0 || text.empty())
                return;
            if (text.size() >= UINT32_MAX || (block = static_cast<char *>(qx_malloc(text.size()))) == nullptr) {
                frame->error = ErrNoMemory;
                return;
            }
            std::memcpy(block, text.data(), text.size());
            frame->resultLength = static_cast<uint32_t>(text.size());
        });
        return block;
    }

    template <typename Def, std::size_t... I>
    void Describe(Def *def, std::index_sequence<I...>)
    {
        def->argCount = static_cast<int32_t>(ValueCount);
        ((def->argKinds[I] = IsNumberParam<std::tuple_element_t<I, Params>> ? ArgNumeric : ArgString), ...);
        def->userWord = reinterpret_cast<uintptr_t>(this);
    }

    // Registers this object under `name`; the library's code.
    int32_t Register(EvalContext *ctx, const char *name)
    {
        if constexpr (ReturnsText) {
            SFunctionDef def{};
            def.name = name;
            def.callback = &HostFunction::Text;
            Describe(&def, std::make_index_sequence<ValueCount>());
            return Quorbix_CreateSFunction(ctx, &def);
        } else {
            NFunctionDef def{};
            def.name = name;
            def.callback = &HostFunction::Number;
            Describe(&def, std::make_index_sequence<ValueCount>());
            return Quorbix_CreateNFunction(ctx, &def);
        }
    }

    F callable;
};

// What forEachParam hands the library as its user word.
template <typename F>
struct NameWalk {
    explicit NameWalk(F *f) noexcept : visit(f) {}

    F *visit;
#if QUORBIX_HPP_EXCEPTIONS
    std::exception_ptr thrown;
#endif

    static int32_t QUORBIX_CALL Next(const char *name, uintptr_t user) noexcept
    {
        auto *walk = reinterpret_cast<NameWalk *>(user);
#if QUORBIX_HPP_EXCEPTIONS
        try {
            return walk->Offer(name);
        } catch (...) {
            walk->thrown = std::current_exception();
            return 0;
        }
#else
        return walk->Offer(name);
#endif
    }

    int32_t Offer(const char *name)
    {
        using R = decltype((*visit)(std::string_view(name)));
        if constexpr (std::is_void_v<R>) {
            (*visit)(std::string_view(name));
            return 1;
        } else {
            return (*visit)(std::string_view(name)) ? 1 : 0;
        }
    }
};

} // namespace detail

// One open context. Owns the library's table, the registers and every
// callable and constant text registered through it. Movable, not copyable:
// the EvalContext and registers live in one heap block that a move hands
// over, so their addresses never change. A Context that is empty (its
// initialise failed, or it was moved from) does nothing and answers every
// call with ErrNoMemory, the only reason a table can be missing.
//
// One thread at a time. A host callable must not call back into the Context
// that is running it.
class Context {
public:
    // Opens a context with all registers 0.0; check ok(). Never throws.
    Context() noexcept : state_(new (std::nothrow) State)
    {
        if (state_ != nullptr && Quorbix_Initialize(&state_->ctx) != 0)
            state_.reset();
        if (state_ != nullptr)
            state_->ctx.registers = state_->registers;
    }
    // Takes over `other`'s heap block, leaving `other` empty.
    Context(Context &&) noexcept = default;
    // Closes this context's table, then takes over `other`'s, leaving it empty.
    Context &operator=(Context &&) noexcept = default;
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
    // Closes the table, then frees the callables and constant texts.
    ~Context() = default;

    // True when the context is open.
    bool ok() const noexcept { return state_ != nullptr; }
    // Same as ok().
    explicit operator bool() const noexcept { return ok(); }
    // The underlying record, for C calls not wrapped here; null when empty.
    // The Context keeps owning it.
    EvalContext *raw() noexcept { return state_ != nullptr ? &state_->ctx : nullptr; }

    // ---- Evaluation ------------------------------------------------------

    // The value of a numeric expression.
    Result<double> eval(TextArg text) noexcept
    {
        return Run(text, [](EvalContext *c) -> Result<double> {
            const int32_t rc = Quorbix(c);
            return rc == 0 ? Result<double>(c->result) : Failure{rc};
        });
    }
    // The value of a string expression, copied; the library's block is freed.
    Result<std::string> evalString(TextArg text) noexcept
    {
        return Run(text, [](EvalContext *c) {
            const int32_t rc = Quorbix_AddStr(c);
            if (rc != 0)
                return Result<std::string>(Failure{rc});
            Result<std::string> out =
                detail::Guarded(ErrNoMemory, [c] { return Result<std::string>(c->stringResult); });
            Quorbix_FreeOut(c);
            return out;
        });
    }
    // Runs an assignment statement; `target`, if given, receives what it named.
    Result<void> assign(TextArg statement, SubstitutionTarget *target = nullptr) noexcept
    {
        return Run(statement,
                   [target](EvalContext *c) { return Result<void>::fromCode(Quorbix_Substitution(c, target)); });
    }
    // What kind of text this is; Unknown when the context is empty.
    TextKind kind(TextArg text) noexcept
    {
        const detail::ZText z(text);
        if (state_ == nullptr || z.get() == nullptr)
            return TextKind::Unknown;
        return static_cast<TextKind>(Quorbix_CheckStrType(&state_->ctx, z.get()));
    }
    // Byte offset into the last text given to eval or evalString at which the
    // scan stopped: after a failure, where the fault was found. assign, which
    // restores the scan position, leaves 0.
    std::size_t stopOffset() const noexcept { return state_ != nullptr ? state_->stop : 0; }

    // ---- Registers ---------------------------------------------------------

    // The 26 registers [a]..[z], owned by the Context; null when empty.
    double *registers() noexcept { return state_ != nullptr ? state_->registers : nullptr; }
    // Register [letter], 'a'..'z' or 'A'..'Z'; the Context must be open.
    double &reg(char letter) noexcept
    {
        const int k = (letter >= 'A' && letter <= 'Z' ? letter - 'A' : letter - 'a');
        assert(state_ != nullptr && k >= 0 && k < 26);
        return state_->registers[k];
    }

    // ---- Creating parameters (the library copies name and text) -----------
    // Each fails with ErrBadName when the name is invalid or already taken.

    // A numeric scalar.
    Result<void> createNumber(TextArg name, double value = 0.0, uint32_t attributes = 0) noexcept
    {
        return Call([&](EvalContext *c, const char *n) { return Quorbix_AllocNParam(c, n, attributes, value); }, name);
    }
    // A string scalar; the name ends in '$'.
    Result<void> createString(TextArg name, TextArg text = "", uint32_t attributes = 0) noexcept
    {
        return Call([&](EvalContext *c, const char *n, const char *t) {
            return Quorbix_AllocSParam(c, n, attributes, t);
        }, name, text);
    }
    // dim2 0 makes a one-dimensional array of dim1 elements, all 0.0.
    Result<void> createNumberArray(TextArg name, uint32_t dim1, uint32_t dim2 = 0, uint32_t attributes = 0) noexcept
    {
        return Call([&](EvalContext *c, const char *n) {
            return Quorbix_AllocNDim(c, dim1, dim2, attributes, n);
        }, name);
    }
    // dim2 0 makes a one-dimensional array of dim1 elements, all "".
    Result<void> createStringArray(TextArg name, uint32_t dim1, uint32_t dim2 = 0, uint32_t attributes = 0) noexcept
    {
        return Call([&](EvalContext *c, const char *n) {
            return Quorbix_AllocSDim(c, dim1, dim2, attributes, n);
        }, name);
    }

    // ---- Reading and writing: scalar, element (i), element (i, j) ---------
    // The overload picks the kind: a scalar, a one- or a two-dimensional array.
    // A parameter of another kind gives ErrBadName, an index outside the
    // array ErrArgument, a write to a read-only parameter ErrReadOnly. The
    // library copies the texts it is given.

    // Writes a numeric scalar or element.
    Result<void> setNumber(TextArg name, double value) noexcept
    {
        return Call([&](EvalContext *c, const char *n) { return Quorbix_SetParam_NS(c, n, value); }, name);
    }
    Result<void> setNumber(TextArg name, uint32_t i, double value) noexcept
    {
        return Call([&](EvalContext *c, const char *n) { return Quorbix_SetParam_ND1(c, n, i, value); }, name);
    }
    Result<void> setNumber(TextArg name, uint32_t i, uint32_t j, double value) noexcept
    {
        return Call([&](EvalContext *c, const char *n) { return Quorbix_SetParam_ND2(c, n, i, j, value); }, name);
    }
    // Writes a string scalar or element.
    Result<void> setString(TextArg name, TextArg text) noexcept
    {
        return Call([](EvalContext *c, const char *n, const char *t) { return Quorbix_SetParam_SS(c, n, t); }, name,
                    text);
    }
    Result<void> setString(TextArg name, uint32_t i, TextArg text) noexcept
    {
        return Call([i](EvalContext *c, const char *n, const char *t) { return Quorbix_SetParam_SD1(c, n, i, t); },
                    name, text);
    }
    Result<void> setString(TextArg name, uint32_t i, uint32_t j, TextArg text) noexcept
    {
        return Call([i, j](EvalContext *c, const char *n, const char *t) {
            return Quorbix_SetParam_SD2(c, n, i, j, t);
        }, name, text);
    }

    // A numeric scalar or element, read as an expression reads it (integer view included).
    Result<double> getNumber(TextArg name) noexcept { return ReadNumber(name, NS, 0, 0); }
    Result<double> getNumber(TextArg name, uint32_t i) noexcept { return ReadNumber(name, ND1, i, 0); }
    Result<double> getNumber(TextArg name, uint32_t i, uint32_t j) noexcept { return ReadNumber(name, ND2, i, j); }
    // A copy of a string scalar or element, whole however long.
    Result<std::string> getString(TextArg name) noexcept { return ReadText(name, SS, 0, 0); }
    Result<std::string> getString(TextArg name, uint32_t i) noexcept { return ReadText(name, SD1, i, 0); }
    Result<std::string> getString(TextArg name, uint32_t i, uint32_t j) noexcept { return ReadText(name, SD2, i, j); }

    // ---- Managing parameters -------------------------------------------------

    // Kind, attributes and shape of any symbol, function and constant included.
    Result<ParamInfo> info(TextArg name) noexcept
    {
        ParamInfo out{};
        const Result<void> rc =
            Call([&out](EvalContext *c, const char *n) { return Quorbix_GetParamInfo(c, n, &out); }, name);
        return rc ? Result<ParamInfo>(out) : Failure{rc.code()};
    }
    // The attribute word of a parameter.
    Result<uint32_t> attributes(TextArg name) noexcept
    {
        uint32_t out = 0;
        const Result<void> rc =
            Call([&out](EvalContext *c, const char *n) { return Quorbix_GetAttrib(c, n, &out); }, name);
        return rc ? Result<uint32_t>(out) : Failure{rc.code()};
    }
    // Replaces the whole attribute word, protection bits included.
    Result<void> setAttributes(TextArg name, uint32_t attributes) noexcept
    {
        return Call([attributes](EvalContext *c, const char *n) { return Quorbix_SetAttrib(c, n, attributes); }, name);
    }
    // Deletes a parameter; ErrProtected for a protected one.
    Result<void> erase(TextArg name) noexcept
    {
        return Call([](EvalContext *c, const char *n) { return Quorbix_DeleteParam(c, n); }, name);
    }
    // Deletes every unprotected parameter.
    Result<void> eraseAll() noexcept
    {
        return state_ != nullptr ? Result<void>::fromCode(Quorbix_DeleteAllParams(&state_->ctx)) : Failure{ErrNoMemory};
    }
    // The number of parameters; `protectedCount`, if given, gets how many are protected.
    uint32_t count(uint32_t *protectedCount = nullptr) noexcept
    {
        if (protectedCount != nullptr)
            *protectedCount = 0;
        return state_ != nullptr ? static_cast<uint32_t>(Quorbix_ParamCount(&state_->ctx, protectedCount)) : 0;
    }
    // Calls `visit(std::string_view name)` for each parameter, bucket by bucket
    // (A..Z, then '_'), in table order. The view is valid during the call only.
    // A `visit` returning bool stops the walk with false, and the result is
    // then ErrSyntax, as the library reports it. `visit` may change values and
    // attributes but not add or delete parameters. An exception from `visit`
    // stops the walk and is rethrown here.
    template <typename F>
    Result<void> forEachParam(F &&visit)
    {
        if (state_ == nullptr)
            return Failure{ErrNoMemory};
        using Visit = std::remove_reference_t<F>;
        detail::NameWalk<Visit> walk(&visit);
        const int32_t rc =
            Quorbix_EnumParamName(&state_->ctx, &detail::NameWalk<Visit>::Next, reinterpret_cast<uintptr_t>(&walk));
#if QUORBIX_HPP_EXCEPTIONS
        if (walk.thrown)
            std::rethrow_exception(walk.thrown);
#endif
        return Result<void>::fromCode(rc);
    }

    // ---- Files and transfer ------------------------------------------------------

    // Writes every parameter to `file` at its current position; the caller
    // keeps the handle and closes it.
    Result<void> save(FileHandle file) noexcept
    {
        return state_ != nullptr ? Result<void>::fromCode(Quorbix_SaveParam(&state_->ctx, file)) : Failure{ErrNoMemory};
    }
    // Merges the parameters read from `file` into the table, replacing those of
    // the same name; with noReplace a taken name ends the load with ErrBadName.
    // Records read before a failure stay. The caller keeps the handle.
    Result<void> load(FileHandle file, bool noReplace = false) noexcept
    {
        return state_ != nullptr ? Result<void>::fromCode(Quorbix_LoadParam(&state_->ctx, file, noReplace ? 1 : 0))
                                 : Failure{ErrNoMemory};
    }
    // Copies parameter `name` of `source` into this context.
    Result<void> copyFrom(Context &source, TextArg name, bool noReplace = false) noexcept
    {
        if (source.state_ == nullptr)
            return Failure{ErrNoMemory};
        EvalContext *from = &source.state_->ctx;
        return Call([&](EvalContext *c, const char *n) { return Quorbix_CopyParam(c, from, n, noReplace ? 1 : 0); },
                    name);
    }
    // Copies parameter `sourceName` of this context under `newName`.
    Result<void> duplicate(TextArg sourceName, TextArg newName, bool noReplace = false) noexcept
    {
        return Call([&](EvalContext *c, const char *s, const char *n) {
            return Quorbix_DuplicateParam(c, s, n, noReplace ? 1 : 0);
        }, sourceName, newName);
    }

    // ---- Host functions and constants -------------------------------------------

    // Registers `callable` as function `name` until the context closes; the
    // Context keeps a copy (or the moved original). Its parameters are double
    // (a numeric argument) or std::string_view, std::string, const char *
    // (a string argument, valid for the call only), optionally followed by
    // quorbix::CallContext & to fail with a code. It returns a number, or a
    // std::string for a name ending in '$'. An exception it throws does not
    // reach the library: std::bad_alloc fails the call with ErrNoMemory, any
    // other with ErrDomain.
    template <typename F>
    Result<void> defineFunction(TextArg name, F &&callable) noexcept
    {
        using Holder = detail::HostFunction<std::decay_t<F>>;
        return Call(
            [&](EvalContext *c, const char *n) {
                return detail::Guarded(ErrNoMemory, [&]() -> Result<void> {
                    // Room first, so that nothing can fail once the library
                    // holds the callable's address.
                    state_->functions.reserve(state_->functions.size() + 1);
                    auto holder = std::make_unique<Holder>(std::forward<F>(callable));
                    if (const int32_t rc = holder->Register(c, n))
                        return Failure{rc};
                    state_->functions.push_back(std::move(holder));
                    return {};
                }).code();
            },
            name);
    }
    // Registers a numeric constant.
    Result<void> defineConstant(TextArg name, double value) noexcept
    {
        return Call([value](EvalContext *c, const char *n) {
            const NConstantDef def{n, value};
            return Quorbix_CreateNConstant(c, &def);
        }, name);
    }
    // Registers a string constant, name ending in '$'. The library keeps only a
    // pointer, so the Context keeps its own copy of `text` until it closes.
    Result<void> defineConstant(TextArg name, std::string_view text) noexcept
    {
        return Call(
            [&](EvalContext *c, const char *n) {
                return detail::Guarded(ErrNoMemory, [&]() -> Result<void> {
                    state_->texts.emplace_front(text);
                    const SConstantDef def{n, state_->texts.front().c_str()};
                    if (const int32_t rc = Quorbix_CreateSConstant(c, &def)) {
                        state_->texts.pop_front();
                        return Failure{rc};
                    }
                    return {};
                }).code();
            },
            name);
    }

private:
    // The heap block a move hands over. The table is closed before the
    // callables and texts it points at are destroyed.
    struct State {
        EvalContext ctx{};
        double registers[26] = {};
        std::size_t stop = 0;
        std::vector<std::unique_ptr<detail::HostCallable>> functions;
        std::forward_list<std::string> texts;
        ~State() { Quorbix_Terminate(&ctx); }
    };

    // Sets `text` for one evaluating call, records where the scan stopped,
    // and leaves no pointer into the temporary text behind.
    template <typename Use>
    auto Run(const TextArg &text, Use &&use) noexcept -> decltype(use(static_cast<EvalContext *>(nullptr)))
    {
        const detail::ZText z(text);
        if (state_ == nullptr || z.get() == nullptr)
            return Failure{ErrNoMemory};
        EvalContext *c = &state_->ctx;
        c->text = z.get();
        c->cursor = z.get();
        auto out = use(c);
        state_->stop = c->cursor >= c->text ? static_cast<std::size_t>(c->cursor - c->text) : 0;
        c->text = nullptr;
        c->cursor = nullptr;
        return out;
    }

    // Calls `use(ctx, texts...)` with every text zero-terminated.
    template <typename Use, typename... Texts>
    Result<void> Call(Use &&use, const Texts &...texts) noexcept
    {
        if (state_ == nullptr)
            return Failure{ErrNoMemory};
        const detail::ZText z[] = {detail::ZText(texts)...};
        for (const detail::ZText &one : z)
            if (one.get() == nullptr)
                return Failure{ErrNoMemory};
        return CallWith(std::forward<Use>(use), z, std::index_sequence_for<Texts...>());
    }
    template <typename Use, std::size_t... I>
    Result<void> CallWith(Use &&use, const detail::ZText *z, std::index_sequence<I...>) noexcept
    {
        return Result<void>::fromCode(use(&state_->ctx, z[I].get()...));
    }

    Result<double> ReadNumber(const TextArg &name, uint16_t kind, uint32_t i, uint32_t j) noexcept
    {
        double out = 0.0;
        const Result<void> rc = Call(
            [&](EvalContext *c, const char *n) {
                return kind == NS    ? Quorbix_GetParam_NS(c, n, &out)
                       : kind == ND1 ? Quorbix_GetParam_ND1(c, n, i, &out)
                                     : Quorbix_GetParam_ND2(c, n, i, j, &out);
            },
            name);
        return rc ? Result<double>(out) : Failure{rc.code()};
    }

    // Reads the text in place through Quorbix_Param, so no length limit
    // applies; the checks and their codes are those of Quorbix_GetParam_SS.
    Result<std::string> ReadText(const TextArg &name, uint16_t kind, uint32_t i, uint32_t j) noexcept
    {
        const char *text = nullptr;
        const Result<void> rc = Call(
            [&](EvalContext *c, const char *n) -> int32_t {
                ParamRef ref{};
                if (Quorbix_Param(c, n, &ref) != 0 || ref.kind != kind)
                    return ErrBadName;
                if (kind == SS) {
                    text = *static_cast<char **>(ref.value);
                    return 0;
                }
                const bool inside = kind == SD1 ? i < *ref.count : i < *ref.dim1 && j < *ref.dim2;
                if (!inside)
                    return ErrArgument;
                text = (*static_cast<char ***>(ref.value))[kind == SD1 ? i : i + *ref.dim1 * j];
                return 0;
            },
            name);
        if (!rc)
            return Failure{rc.code()};
        return detail::Guarded(ErrNoMemory,
                               [text] { return Result<std::string>(std::string(text != nullptr ? text : "")); });
    }

    std::unique_ptr<State> state_;
};

} // namespace quorbix

#endif // QUORBIX_HPP
