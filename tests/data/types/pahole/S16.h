struct S16 {
	struct atomic<int>         a __attribute__((__aligned__(4))); /*     0     4 */

	/* XXX 4 bytes hole, try to pack */

	class unique_ptr<int, std::default_delete<int> > p; /*     8     8 */
	class shared_ptr<int>     q;                     /*    16    16 */
	bool                       flag;                 /*    32     1 */

	/* size: 40, cachelines: 1, members: 4 */
	/* sum members: 29, holes: 1, sum holes: 4 */
	/* padding: 7 */
	/* forced alignments: 1 */
	/* last cacheline: 40 bytes */
} __attribute__((__aligned__(8)));
