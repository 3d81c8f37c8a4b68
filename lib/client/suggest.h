// "Did you mean ...?": the closest of some candidate words, and the
// definition a user probably meant by a name the repository lacks.
#ifndef IR_CLIENT_SUGGEST_H
#define IR_CLIENT_SUGGEST_H

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

// The edit distance (insertions, deletions, substitutions, transpositions
// of neighbours), ignoring case.
std::size_t edit_distance(const std::string& a, const std::string& b);

// The candidate closest to `word`, when it is close enough to be a typing
// mistake (at most a third of the word's letters, and at least one, may
// differ); "" when none is.
std::string closest_word(const std::string& word,
                         const std::vector<std::string>& candidates);

// A scoped name of `repository` that `wanted` (a scoped name the
// repository does not have) probably means: the longest prefix of it that
// exists, followed by the closest name in that container, or else a
// definition anywhere whose simple name is the last part of `wanted`
// (ignoring case).  "" when nothing comes close.  Throws the CORBA
// exception of a failed call.
std::string suggest_definition(CORBA::Repository_ptr repository,
                               const std::string& wanted);

#endif
