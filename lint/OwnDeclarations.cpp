#include <algorithm>
#include <iterator>
#include <vector>

#include <clang-tidy/ClangTidyCheck.h>
#include <clang-tidy/ClangTidyModule.h>
#include <clang-tidy/ClangTidyModuleRegistry.h>
#include <clang/AST/ASTContext.h>
#include <clang/ASTMatchers/ASTMatchers.h>

namespace quibel::lint {

/// Keeps the checks out of system headers. clang-tidy looks at every declaration of a translation
/// unit and drops what it finds in a system header afterwards: nine tenths of its time, where a
/// source includes Qt.
///
/// The declaration of the unit itself is matched before clang looks up which of its children to
/// traverse.
class OwnDeclarations : public clang::tidy::ClangTidyCheck
{
public:
    using ClangTidyCheck::ClangTidyCheck;

    void registerMatchers(clang::ast_matchers::MatchFinder* finder) override
    {
        finder->addMatcher(clang::ast_matchers::translationUnitDecl(), this);
    }

    void check(const clang::ast_matchers::MatchFinder::MatchResult& result) override
    {
        auto& context = *result.Context;
        std::vector<clang::Decl*> own;
        std::ranges::copy_if(context.getTranslationUnitDecl()->decls(),
                             std::back_inserter(own),
                             [&](const clang::Decl* declaration) {
                                 return !result.SourceManager->isInSystemHeader(
                                     declaration->getLocation());
                             });
        context.setTraversalScope(own);
    }
};

class LintModule : public clang::tidy::ClangTidyModule
{
public:
    void addCheckFactories(clang::tidy::ClangTidyCheckFactories& factories) override
    {
        factories.registerCheck<OwnDeclarations>("quibel-own-declarations");
    }
};

const clang::tidy::ClangTidyModuleRegistry::Add<LintModule> lintModule("quibel", "Quibel's own");

} // namespace quibel::lint
