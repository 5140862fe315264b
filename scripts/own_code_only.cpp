// A plugin of clang-tidy 14 by which it looks at what the tree itself declares, and passes over
// what the system's headers do. Findings there are thrown away in the end, but nine tenths of the
// time go into them. scripts/tidy builds and loads it where clang-tidy's headers are installed.

#include <clang-tidy/ClangTidyCheck.h>
#include <clang-tidy/ClangTidyModule.h>
#include <clang-tidy/ClangTidyModuleRegistry.h>

#include <vector>

namespace {

// Matches the whole source, which comes before everything in it, and narrows what comes next.
class OwnCodeOnly : public clang::tidy::ClangTidyCheck {
public:
    using ClangTidyCheck::ClangTidyCheck;

    void registerMatchers(clang::ast_matchers::MatchFinder* finder) override {
        finder->addMatcher(clang::ast_matchers::translationUnitDecl().bind("source"), this);
    }

    void check(const clang::ast_matchers::MatchFinder::MatchResult& result) override {
        std::vector<clang::Decl*> own;
        for (clang::Decl* const decl : result.Context->getTranslationUnitDecl()->decls()) {
            const auto location = result.SourceManager->getExpansionLoc(decl->getLocation());
            if (location.isValid() && !result.SourceManager->isInSystemHeader(location)) {
                own.push_back(decl);
            }
        }
        result.Context->setTraversalScope(own);
    }
};

class Module : public clang::tidy::ClangTidyModule {
public:
    void addCheckFactories(clang::tidy::ClangTidyCheckFactories& factories) override {
        factories.registerCheck<OwnCodeOnly>("own-code-only");
    }
};

const clang::tidy::ClangTidyModuleRegistry::Add<Module> kModule("own-code-only", "");

}  // namespace
