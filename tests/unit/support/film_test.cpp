#include "tests/support/film.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kav/four_cc.h"

namespace quarrypack::test {
namespace {

TEST(Film, GivesItsBoxesOneAfterAnother) {
  Film film(concat({bigEndian(8, 4), text("free"), bigEndian(8, 4), text("skip")}));
  EXPECT_EQ(film.box().type(), norvik::kav::fourCc("free"));
  EXPECT_EQ(film.box().type(), norvik::kav::fourCc("skip"));
  EXPECT_THROW(film.box(), std::runtime_error);
}

TEST(Film, OpensAsAMovie) {
  Film film(MovieBuilder({videoTrack()}));
  EXPECT_EQ(film.reader().tracks().size(), 1u);
  EXPECT_EQ(film.movie().tracks().size(), 1u);
}

TEST(Film, MayGoBeforeItsMovie) {
  const norvik::kav::Movie movie = Film(MovieBuilder({videoTrack(), soundTrack()})).movie();
  EXPECT_EQ(movie.tracks().size(), 2u);
}

}  // namespace
}  // namespace quarrypack::test
