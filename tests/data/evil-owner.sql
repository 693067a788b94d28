-- Roles that own the database or other things, and code of one of them that would take a superuser's rights.
DO $$
BEGIN
    CREATE ROLE evil LOGIN;
    CREATE ROLE chief LOGIN;
    CREATE ROLE anybody LOGIN;
EXCEPTION WHEN duplicate_object THEN
END $$;
DO $$ BEGIN EXECUTE format('ALTER DATABASE %I OWNER TO chief', current_database()); END $$;
GRANT CREATE ON SCHEMA public TO evil;
DROP SCHEMA IF EXISTS orvex CASCADE;
DROP TABLE IF EXISTS public.child, public.other;
CREATE OR REPLACE FUNCTION public.evil() RETURNS bigint LANGUAGE plpgsql AS $$
BEGIN
    BEGIN
        EXECUTE 'ALTER ROLE evil SUPERUSER';
    EXCEPTION WHEN OTHERS THEN
    END;
    RETURN 1;
END $$;
ALTER FUNCTION public.evil OWNER TO evil;
CREATE OR REPLACE FUNCTION public.trigger() RETURNS trigger LANGUAGE plpgsql
    AS $$ BEGIN PERFORM public.evil(); RETURN NEW; END $$;
CREATE OR REPLACE FUNCTION public.give_store(receiver text) RETURNS void LANGUAGE plpgsql AS $$
BEGIN
    EXECUTE format('ALTER SCHEMA orvex OWNER TO %I', receiver);
    EXECUTE format('ALTER TABLE orvex.messages OWNER TO %I', receiver);
    EXECUTE format('ALTER TABLE orvex.settings OWNER TO %I', receiver);
    GRANT USAGE ON SCHEMA orvex TO PUBLIC;
    GRANT ALL ON ALL TABLES IN SCHEMA orvex TO PUBLIC;
END $$;
